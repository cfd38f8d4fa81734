#pragma once

#include <opencv2/core.hpp>

namespace measure {

// The rotation about a vector by its length in radians, and the vector of a rotation, of a length from 0 to pi.
cv::Matx33d RotationOf(const cv::Vec3d& turn);
cv::Vec3d TurnOf(const cv::Matx33d& rotation);

}  // namespace measure
