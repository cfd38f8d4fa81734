#include "measure/lens.h"

#include <cmath>

#include "measure/base/distortion.h"

namespace measure {
cv::Point2d Lens::Project(cv::Point2d direction) const {
    const cv::Point2d d = Distort(*this, direction).at;
    return {fx * d.x + cx, fy * d.y + cy};
}

cv::Point2d Lens::Direction(cv::Point2d pixel) const {
    const cv::Point2d wanted((pixel.x - cx) / fx, (pixel.y - cy) / fy);
    cv::Point2d p = wanted;
    for (int i = 0; i < 50; ++i) {
        const Distorted d = Distort(*this, p);
        const cv::Point2d off = wanted - d.at;
        const double det = d.slope(0, 0) * d.slope(1, 1) - d.slope(0, 1) * d.slope(1, 0);
        if (!(det > 0)) break;
        const cv::Point2d step((d.slope(1, 1) * off.x - d.slope(0, 1) * off.y) / det,
                               (d.slope(0, 0) * off.y - d.slope(1, 0) * off.x) / det);
        p += step;
        if (step.dot(step) <= 1e-30 * (1 + p.dot(p))) break;
    }
    const cv::Point2d left = wanted - Distort(*this, p).at;
    if (left.dot(left) <= 1e-28 * (1 + wanted.dot(wanted))) return p;
    return {std::nan(""), std::nan("")};
}

}  // namespace measure
