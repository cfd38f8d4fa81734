#pragma once

#include "measure/lens.h"

namespace measure {

struct Distorted {
    cv::Point2d at;
    cv::Matx22d slope;
};

// Distorted coordinates and their derivative.
inline Distorted Distort(const Lens& l, cv::Point2d p) {
    const double x = p.x, y = p.y, r2 = x * x + y * y;
    const double radial = 1 + r2 * (l.k1 + r2 * (l.k2 + r2 * l.k3));
    const double rise = l.k1 + r2 * (2 * l.k2 + r2 * 3 * l.k3);  // of `radial` with r2
    const double cross = 2 * x * y * rise + 2 * l.p1 * x + 2 * l.p2 * y;
    return {{x * radial + 2 * l.p1 * x * y + l.p2 * (r2 + 2 * x * x),
             y * radial + l.p1 * (r2 + 2 * y * y) + 2 * l.p2 * x * y},
            {radial + 2 * x * x * rise + 2 * l.p1 * y + 6 * l.p2 * x, cross, cross,
             radial + 2 * y * y * rise + 6 * l.p1 * y + 2 * l.p2 * x}};
}

}  // namespace measure
