#pragma once

#include <cmath>
#include <limits>
#include <opencv2/core.hpp>

namespace measure {

// The value between four pixels; NaN outside the image and where a pixel that counts is NaN. On a column or row of
// pixels the next one does not count.
inline float Bilinear(const cv::Mat1f& image, double column, double row) {
    constexpr float kNone = std::numeric_limits<float>::quiet_NaN();
    if (!(column >= 0 && row >= 0 && column <= image.cols - 1 && row <= image.rows - 1)) return kNone;
    const int x = static_cast<int>(column), y = static_cast<int>(row);
    const auto fx = static_cast<float>(column - x), fy = static_cast<float>(row - y);
    const auto along = [&](int at) {
        const float* const p = image[at] + x;
        return fx > 0 ? p[0] + fx * (p[1] - p[0]) : p[0];
    };
    const float above = along(y);
    return fy > 0 ? above + fy * (along(y + 1) - above) : above;
}

}  // namespace measure
