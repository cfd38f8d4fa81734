#pragma once

#include <opencv2/core.hpp>

namespace vorip {

// Where an object of another material, or at another distance from the projector's focus, stands before its background:
// a line that keeps the two from being joined. The phase itself need not show such an edge, it may continue across it
// by accident; but the fringe contrast, modulation / mean intensity, changes there and, unlike the brightness, does not
// depend on shading. The smoothed contrast is divided into a high and a low class by the best single threshold, and the
// borders between the classes across which it changes by at least the factor `ratio` are drawn, some pixels wide.
//
// mean and modulation are CV_32F, usable is CV_8U; the result is CV_8U, 255 on the lines.
cv::Mat FindMaterialBorders(const cv::Mat& mean, const cv::Mat& modulation, const cv::Mat& usable, double ratio);

}  // namespace vorip
