#pragma once

#include <string>
#include <vector>

namespace vorip {

// The commands as functions, so that the demo runs what the command line runs.

struct PhaseOptions {
    std::vector<std::string> frames;
    std::string out;
    std::string shift;          // degrees, comma-separated; empty for equal shifts over one period
    double fullScale = 0;       // 0: that of the pixel type
    double minIntensity = 1.5;  // these three in percent of full scale
    double saturation = 99.5;
    double minModulation = 2.8;
    double borderRatio = 1.4;
};
void RunPhase(const PhaseOptions& options);

enum class UnwrapMethod { kRegions, kReliability };

struct UnwrapOptions {
    UnwrapMethod method = UnwrapMethod::kRegions;
    std::string phase;
    std::string out;
    std::string quality;
    std::string mask;
    int minQuality = 0;
    int minArea = 100;
    int orderMode = 4;
    int minGroup = 100;  // of the method by reliability, as the three before are of that by regions
    std::string zero;    // "X,Y"
};
void RunUnwrap(const UnwrapOptions& options);

}  // namespace vorip
