#pragma once

#include <string>
#include <vector>

#include "measure/cloud.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/summary.h"

namespace vorip {

struct PointsOptions {
    double maxStep = 0;      // millimetres; 0: found
    double maxResidual = 0;  // projector pixels; 0: none is dropped
};

struct PointsResult {
    measure::CloudResult cloud;
    std::vector<SummaryEntry> entries;
    std::string report;  // lines for people
};

// Makes the points and adds their files to the outputs, not the summary. `grey` may be empty. `source` is what messages
// name.
PointsResult MakePoints(const measure::ProjectorCoordinates& seen, const measure::Calibration& calibration,
                        const cv::Mat1b& grey, const PointsOptions& options, const std::string& source,
                        OutputSet& outputs, Progress& progress);

}  // namespace vorip
