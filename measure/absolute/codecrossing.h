#pragma once

#include "measure/absolute/codesteps.h"
#include "measure/absolute/decodestate.h"

namespace measure {

// Where between the centres of two neighbouring pixels the light of a code changes.
struct CodeCrossing {
    float place = 0.5f;   // 0 at the first, 1 at the second one
    float doubt = 0.29f;  // pixels: the standard deviation of what the pixels cannot tell
};

// Between two neighbours, a before b, whose Gray codes differ in the one bit `differing`.
CodeCrossing FindCodeCrossing(const DecodeState& state, const GrayDecoding& code, cv::Point a, cv::Point b,
                              Bits differing);

// The grey level at which a picture of the code is cut, or, with inverse pictures, the mean of the fringes.
float CodeThresholdAt(const DecodeState& state, int y, int x);

}  // namespace measure
