#pragma once

#include <opencv2/core.hpp>

#include "measure/cloud.h"

namespace measure {

// Throws InputError unless x, y and z have one size.
void RequireCloud(const Cloud& cloud);

// z, NaN wherever a coordinate is not finite. Throws the same.
cv::Mat1f DepthsOf(const Cloud& cloud);

}  // namespace measure
