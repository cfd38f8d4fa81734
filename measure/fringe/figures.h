#pragma once

#include <cmath>
#include <opencv2/core.hpp>
#include <vector>

#include "measure/base/quantile.h"
#include "measure/fringe.h"

namespace measure {

// Figures about a set that need not see every pixel.

// Some ten thousand values, evenly spread: visit(y, x) returns one, or NaN for none.
template <class Visit>
std::vector<float> Sample(cv::Size size, const Visit& visit) {
    const int step = std::max(1, static_cast<int>(std::sqrt(size.area() / 6e4)));
    std::vector<float> values;
    for (int y = step / 2; y < size.height; y += step) {
        for (int x = step / 2; x < size.width; x += step) {
            const float value = visit(y, x);
            if (std::isfinite(value)) values.push_back(value);
        }
    }
    return values;
}

// The median over the usable pixels.
template <class Value>
double MedianOfUsable(const FringePhase& phase, const Value& value) {
    auto values = Sample(phase.usable.size(), [&](int y, int x) { return phase.usable(y, x) ? value(y, x) : NAN; });
    return static_cast<double>(MedianOf(values));
}

// Of the camera, the standard deviation in grey levels.
double NoiseOf(const cv::Mat& frame, const cv::Mat1b& usable);
// The same from the phase, which the colour filters of a camera leave as it is.
double NoiseInPhase(const FringePhase& phase);
// What the residual of four frames or more leaves for it at most; infinite where there is none.
double NoiseInResidual(const FringePhase& phase);
// Share of all pixels.
double SaturatedShare(const FringePhase& phase);
// The median of residual / B; 0 for three frames.
double MedianResidual(const FringePhase& phase);

}  // namespace measure
