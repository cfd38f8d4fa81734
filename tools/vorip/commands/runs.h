#pragma once

#include <string>

#include "tools/vorip/commands/frameinputs.h"

namespace vorip {

// The commands as functions, so that the demo runs what the command line runs. Each returns the exit code.

struct PhaseOptions {
    FrameOptions frames;
    std::string out;
    std::string ripple = "auto";  // or "off"
};
int RunPhase(const PhaseOptions& options);

struct UnwrapOptions {
    std::string method;  // "reliability" or "regions"; empty: what the other options speak for
    std::string phase;   // a file, or the folder of `vorip phase`
    std::string out;
    std::string mask, contrast, modulation, quality;
    int minPixels = 100;
    int minQuality = 0;
    int orderMode = 4;
    std::string zero;  // "X,Y"
};
int RunUnwrap(const UnwrapOptions& options);

struct DecodeOptions {
    std::string scan;
    std::string frames;  // a folder; empty for that of the description
    std::string out;
    std::string ripple = "auto";  // or "off"
    LimitOptions limits;
};
void RunDecode(const DecodeOptions& options);

// Either the frames of one set, or a scan.
struct MeasureOptions {
    FrameOptions frames;
    std::string scan;
    std::string framesFolder;  // of the scan; empty for that of the description
    std::string calibration;   // of a scan; may be empty
    std::string out;
};
void RunMeasure(const MeasureOptions& options);

}  // namespace vorip
