#include "measure/world/rotation.h"

#include <algorithm>
#include <cmath>

namespace measure {

cv::Matx33d RotationOf(const cv::Vec3d& turn) {
    const double angle = cv::norm(turn);
    // Rodrigues' formula with sin(angle) / angle and (1 - cos(angle)) / angle², which are finite at 0.
    const double half = angle > 0 ? std::sin(angle / 2) / (angle / 2) : 1;
    const double first = angle > 0 ? std::sin(angle) / angle : 1, second = half * half / 2;
    const cv::Matx33d cross(0, -turn[2], turn[1], turn[2], 0, -turn[0], -turn[1], turn[0], 0);
    return cv::Matx33d::eye() + cross * first + cross * cross * second;
}

cv::Vec3d TurnOf(const cv::Matx33d& r) {
    // By the unit quaternion (w, v), from its greatest component: exact for all angles.
    const double squares[4] = {1 + r(0, 0) + r(1, 1) + r(2, 2), 1 + r(0, 0) - r(1, 1) - r(2, 2),
                               1 - r(0, 0) + r(1, 1) - r(2, 2), 1 - r(0, 0) - r(1, 1) + r(2, 2)};
    const auto greatest = std::max_element(squares, squares + 4) - squares;
    const cv::Vec3d axial(r(2, 1) - r(1, 2), r(0, 2) - r(2, 0), r(1, 0) - r(0, 1));
    double w = squares[0];
    cv::Vec3d v = axial;
    if (greatest > 0) {
        const auto i = static_cast<int>(greatest) - 1;
        w = axial[i];
        for (int j = 0; j < 3; ++j) v[j] = j == i ? squares[greatest] : r(i, j) + r(j, i);
    }
    if (w < 0) {
        w = -w;
        v = -v;
    }
    const double length = cv::norm(v);
    return length > 0 ? v * (2 * std::atan2(length, w) / length) : cv::Vec3d();
}

}  // namespace measure
