#pragma once

#include <string>
#include <vector>

#include "measure/absolute.h"
#include "tools/vorip/commands/runs.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/summary.h"

namespace vorip {

struct DecodedDirection {
    std::string name;  // "columns" or "rows"
    measure::AbsolutePhase phase;
    int frames = 0;  // of the finest set
};

struct DecodedScan {
    std::vector<DecodedDirection> directions;  // columns first
    cv::Mat1b modulation;                      // as modulation.png has it
    std::vector<SummaryEntry> entries;
    std::string report;  // lines for people
    std::vector<std::string> warnings;
    std::vector<std::string> notes;  // what casts no doubt, as jumps: steps of the surface have them, too
    std::string exchanged;           // the hint that the directions are, which a calibration confirms or rules out
};

// Reads and decodes a scan and adds its pictures to the outputs, not the summary.
DecodedScan DecodeScan(const DecodeOptions& options, OutputSet& outputs, Progress& progress);

}  // namespace vorip
