#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <opencv2/core.hpp>
#include <vector>

namespace measure {

// The value below which a share of 0 to 1 of the values lies; reorders them. There must be one.
inline float PercentileOf(std::vector<float>& values, double share) {
    const double place = std::clamp(share, 0.0, 1.0) * static_cast<double>(values.size() - 1);
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(place + 0.5);
    std::nth_element(values.begin(), at, values.end());
    return *at;
}
inline float MedianOf(std::vector<float>& values) { return PercentileOf(values, 0.5); }

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
        for (int x = y / step % step; x < image.cols; x += step) {
            if ((admitted.empty() || admitted(y, x) >= 128) && std::isfinite(image(y, x)))
                values.push_back(image(y, x));
        }
    }
    return values;
}

}  // namespace measure
