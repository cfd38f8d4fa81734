#pragma once

#include <cmath>
#include <opencv2/core.hpp>

namespace measure {

// Visits the triangles between the valid pixels of `row` and `row` + 1 of an organised surface: visit(a, b, c) with
// points (column, row) in the order in which they face the viewer. Four valid neighbours make two triangles, split
// where the depth changes least; three make one. A triangle whose depths differ by more than `limit` spans two surfaces
// and is left out.
template <class Visit>
void VisitTriangles(const cv::Mat1f& depth, float limit, int row, const Visit& visit) {
    const float *const above = depth[row], *const below = depth[row + 1];
    const auto visitIfWhole = [&](float p, float q, float r, cv::Point a, cv::Point b, cv::Point c) {
        // Comparisons with NaN are false.
        if (std::abs(p - q) <= limit && std::abs(q - r) <= limit && std::abs(r - p) <= limit) visit(a, b, c);
    };
    for (int x = 0; x + 1 < depth.cols; ++x) {
        const float p = above[x], q = above[x + 1], r = below[x], s = below[x + 1];
        const cv::Point a(x, row), b(x + 1, row), c(x, row + 1), d(x + 1, row + 1);
        if (std::isnan(q - r) || std::abs(p - s) <= std::abs(q - r)) {
            visitIfWhole(p, r, s, a, c, d);
            visitIfWhole(p, s, q, a, d, b);
        } else {
            visitIfWhole(p, r, q, a, c, b);
            visitIfWhole(q, r, s, b, c, d);
        }
    }
}

}  // namespace measure
