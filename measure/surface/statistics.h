#pragma once

#include <cmath>
#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

#include "measure/base/quantile.h"

namespace measure {

struct Spread {
    float median = 0, sigma = 0;
};

// Median and a standard deviation that outliers do not move: 1.4826 times the median distance from the median.
inline Spread RobustSpreadOf(std::vector<float> values) {
    if (values.empty()) return {};
    const float median = MedianOf(values);
    for (float& v : values) v = std::abs(v - median);
    return {median, 1.4826f * MedianOf(values)};
}

// Finite values of an image that is not masked, of every n-th pixel of large ones: enough for a spread.
inline std::vector<float> SampleOf(const cv::Mat1f& image, const cv::Mat1b& admitted) {
    constexpr std::size_t kEnough = 250000;
    const int step = static_cast<int>(std::sqrt(static_cast<double>(image.total() / kEnough))) + 1;
    std::vector<float> values;
    for (int y = 0; y < image.rows; y += step) {
        // Starts differ from row to row, so that periods of the surface are not met in one phase only.
        for (int x = y / step % step; x < image.cols; x += step)
            if ((admitted.empty() || admitted(y, x) >= 128) && std::isfinite(image(y, x)))
                values.push_back(image(y, x));
    }
    return values;
}

}  // namespace measure
