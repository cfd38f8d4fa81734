#include "measure/lens.h"

#include <cmath>

namespace measure {
namespace {

struct Distorted {
    cv::Point2d at;
    cv::Matx22d slope;
};

// Distorted coordinates and their derivative.
Distorted Distort(const Lens& l, cv::Point2d p) {
    const double x = p.x, y = p.y, r2 = x * x + y * y;
    const double radial = 1 + r2 * (l.k1 + r2 * (l.k2 + r2 * l.k3));
    const double rise = l.k1 + r2 * (2 * l.k2 + r2 * 3 * l.k3);  // of `radial` with r2
    const double cross = 2 * x * y * rise + 2 * l.p1 * x + 2 * l.p2 * y;
    return {{x * radial + 2 * l.p1 * x * y + l.p2 * (r2 + 2 * x * x),
             y * radial + l.p1 * (r2 + 2 * y * y) + 2 * l.p2 * x * y},
            {radial + 2 * x * x * rise + 2 * l.p1 * y + 6 * l.p2 * x, cross, cross,
             radial + 2 * y * y * rise + 6 * l.p1 * y + 2 * l.p2 * x}};
}

}  // namespace

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
