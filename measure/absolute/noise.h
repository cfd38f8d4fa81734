#pragma once

#include "measure/absolute/decodestate.h"

namespace measure {

// The noise of one frame in grey levels, from the second differences of the finest phase.
double EstimateNoise(const DecodeState& state);

// Finds some thousand pixels, evenly spread over the usable pixels whose fringes have much modulation.
void FindBest(DecodeState& state);

// The phase of a pixel and its variance; of sets of few periods, whose noise counts many times, the mean of 5 x 5
// usable pixels, of others that of those up to `reach` away, weighted by their modulation.
float SamplePhase(const DecodeState& state, std::size_t set, cv::Point at, double& variance, int reach = 0);

// The mean phasor (B e^(i phase)) of 5 x 5 usable pixels around each pixel of a tile. The noise of its phase is that of
// five times the modulation, which is what the result has as its modulation. Its origin is 0.
PhaseSet Smooth(const PhaseSet& set, const cv::Mat1b& usable, const cv::Rect& tile);

}  // namespace measure
