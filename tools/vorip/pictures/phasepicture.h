#pragma once

#include <opencv2/core.hpp>

namespace vorip {

// A colour picture (CV_8UC3) of an unwrapped phase in radians, NaN where invalid: blue is low, red is high, invalid
// pixels are hatched in grey, and a bar at the right gives the scale in periods. Small images are drawn enlarged.
cv::Mat DrawPhasePicture(const cv::Mat& radians);

}  // namespace vorip
