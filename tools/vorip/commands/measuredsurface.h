#pragma once

#include <string>
#include <vector>

#include "measure/cloud.h"
#include "measure/heightmap.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/summary.h"

namespace vorip {

// What a person looks at first: the largest piece of surface, its plane taken away.
struct MeasuredSurface {
    std::vector<SummaryEntry> entries;
    std::string report;  // a line for people
    double share = 0;    // of the piece in what is valid
};

// Heights over the grid of the camera, in periods: those of the pixels of `piece` (255).
MeasuredSurface AddSurface(const cv::Mat1f& periods, const cv::Mat1b& piece, OutputSet& outputs, Progress& progress);
// Heights in millimetres on a grid of millimetres.
MeasuredSurface AddSurface(const measure::Cloud& cloud, OutputSet& outputs, Progress& progress);

}  // namespace vorip
