#pragma once

#include <string>
#include <vector>

#include "measure/fringe.h"
#include "measure/scan.h"
#include "tools/vorip/cli/commandline.h"
#include "tools/vorip/session/summary.h"

namespace vorip {

// What makes a pixel usable, in percent of full scale.
struct LimitOptions {
    double minIntensity = 1.5;
    double saturation = 99.5;
    double minModulation = 1.6;

    measure::FringeLimits Of(double fullScale) const;
};

// The frames of one set, as the command line gives them.
struct FrameOptions {
    std::vector<std::string> frames;
    std::string shift;     // degrees, comma-separated; empty for equal shifts over one period
    double fullScale = 0;  // 0: that of the pixel type
    LimitOptions limits;
};

// The options beside the words that name the frames: what the frames are, and what makes their pixels usable.
void AddFrameOptions(Command& command, FrameOptions& options);
void AddLimitOptions(Command& command, LimitOptions& limits);
// All of them but the least intensity.
void AddFringeLimitOptions(Command& command, LimitOptions& limits);

// Where the description of a scan is given it says what the frames are, and the options that would are refused.
void RefuseFrameOptions(const Command& command);

struct FrameInput {
    std::vector<std::string> names;  // of each frame; pages of one file as "FILE page 2"
    measure::FringeSet set;
    measure::FringeLimits limits;
};

// Reads the frames and warns of what looks wrong about files, their order and their grey levels. Refuses frames that do
// not belong together and shifts that do not fit to them.
FrameInput ReadFrames(const FrameOptions& options);

// Whether the words that name frames are the description of a scan.
bool IsScan(const std::vector<std::string>& words);

// Reads the description of a scan, whose pictures are in the folder where one is given.
measure::Scan ReadScan(const std::string& file, const std::string& folder);

}  // namespace vorip
