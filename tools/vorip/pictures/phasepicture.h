#pragma once

#include <opencv2/core.hpp>

namespace vorip {

// A colour picture (CV_8UC3) of an unwrapped phase in radians, NaN where invalid: blue is low, red is high, invalid
// pixels are hatched in grey, and a bar at the right gives the scale in periods. Small images are drawn enlarged. Where
// marked (CV_8U, may be empty) is not 0 there is magenta, at least three pixels wide.
cv::Mat DrawPhasePicture(const cv::Mat& radians, const cv::Mat& marked = cv::Mat());

}  // namespace vorip
