#pragma once

#include <opencv2/core.hpp>

namespace measure {

constexpr auto kPi = static_cast<float>(CV_PI);

// The difference between two phases, -pi to pi.
inline float WrapStep(float step) { return step > kPi ? step - 2 * kPi : step < -kPi ? step + 2 * kPi : step; }

}  // namespace measure
