#pragma once

#include <vector>

#include "measure/fringequality.h"
#include "tools/vorip/commands/runs.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/summary.h"

namespace vorip {

inline constexpr char kHardlyAnything[] =
    "hardly anything is usable: too dark or saturated, or the fringes do not move from frame to frame";

struct PhaseResult {
    measure::FringePhase phase;  // its ripple corrected where that does good
    cv::Mat1f contrast;
    measure::FringeQuality quality;
    std::vector<SummaryEntry> entries;
    std::string report;  // a line for people
    bool IsUsable() const { return quality.usable >= measure::FringeQuality::kLeastUsable; }
};

// Reads the frames, solves their phase and adds its pictures to the outputs, not the summary.
PhaseResult SolvePhase(const PhaseOptions& options, OutputSet& outputs, Progress& progress);

}  // namespace vorip
