#pragma once

#include <opencv2/core.hpp>

namespace vorip {

// A quality (CV_8U) found from the phase alone (CV_8U, 256 steps per period), for want of a measured one: 255 where the
// phase runs straight through a pixel, 0 where it bends by 128 steps or more. The bend is the largest second
// difference, modulo a period, over the horizontal, the vertical and the two diagonals through the pixel; a direction
// that leaves the image or the usable pixels does not count, and a pixel without any direction has the quality 0.
cv::Mat QualityFromPhase(const cv::Mat& steps, const cv::Mat& usable);

}  // namespace vorip
