#include "tools/vorip/commands/phasequality.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace vorip {
namespace {

constexpr int kDirections[4][2] = {{1, 0}, {0, 1}, {1, 1}, {-1, 1}};

// The second difference a - 2 b + c as a sum of two wrapped first differences.
int Bend(int a, int b, int c) { return std::abs(static_cast<std::int8_t>(a - b) + static_cast<std::int8_t>(c - b)); }

}  // namespace

cv::Mat QualityFromPhase(const cv::Mat& steps, const cv::Mat& usable) {
    cv::Mat quality(steps.size(), CV_8U, 0.0);
    cv::parallel_for_(cv::Range(0, steps.rows), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            for (int x = 0; x < steps.cols; ++x) {
                if (usable.at<std::uint8_t>(y, x) == 0) continue;
                int bend = -1;
                for (const auto& [dx, dy] : kDirections) {
                    const int left = std::min(x - dx, x + dx), right = std::max(x - dx, x + dx);
                    if (left < 0 || right >= steps.cols || y - dy < 0 || y + dy >= steps.rows) continue;
                    if (usable.at<std::uint8_t>(y - dy, x - dx) == 0) continue;
                    if (usable.at<std::uint8_t>(y + dy, x + dx) == 0) continue;
                    bend = std::max(bend, Bend(steps.at<std::uint8_t>(y - dy, x - dx), steps.at<std::uint8_t>(y, x),
                                               steps.at<std::uint8_t>(y + dy, x + dx)));
                }
                if (bend >= 0)
                    quality.at<std::uint8_t>(y, x) = static_cast<std::uint8_t>(255 - std::min(255, 2 * bend));
            }
        }
    });
    return quality;
}

}  // namespace vorip
