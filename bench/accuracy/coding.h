#pragma once

#include <string>
#include <vector>

#include "measure/simulatescan.h"

namespace measure::accuracy {

// A way to code the projector's columns.
struct Coding {
    const char* name;
    std::vector<double> periods;  // projector pixels, the finest first
    double cell = 0;              // of a Gray code, projector pixels; 0: none
    double offset = 0;
    bool inverse = true;
    double origin = 0;  // rendered; not told to the decoder when there is a code
    bool IsAbsolute() const { return periods.size() > 1 || cell > 0; }
};
const std::vector<Coding>& Codings();

// One way of taking pictures.
struct Conditions {
    int steps = 3;
    simulate::Capture capture;
    std::string Name() const;
};

struct Outcome {
    simulate::Judgement judgement;
    double rightPerSurface = 0;  // share, of one set of fringes: with a constant for each piece of one object
    double seconds = 0;          // without rendering
    std::string refused;         // what was thrown
    std::vector<std::string> warnings;
};
Outcome Run(const simulate::Simulation& simulation, const Coding& coding, const Conditions& conditions);

// Unwraps one set of fringes in the image and gives periods, NaN where invalid.
cv::Mat1d UnwrapOneSet(const std::vector<cv::Mat>& frames, const std::vector<double>& shifts, double fullScale = 0);

// Periods from radians.
cv::Mat1d InPeriods(const cv::Mat1f& phase);

}  // namespace measure::accuracy
