#include "tools/vorip/pictures/steprows.h"

#include <algorithm>
#include <cstdint>

namespace vorip {
namespace {

template <class Row>
void ForRows(const cv::Size& size, const Row& row) {
    cv::parallel_for_(cv::Range(0, size.height), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) row(y);
    });
}

void PhaseRow(const float* in, std::uint16_t* fine, std::uint8_t* steps, int width) {
    constexpr auto perRadian = static_cast<float>(65536.0 / (2.0 * CV_PI));
    for (int x = 0; x < width; ++x) {
        const float positive = in[x] * perRadian + (in[x] < 0 ? 65536.5f : 0.5f);
        const int step = positive >= 0 ? static_cast<int>(positive) & 65535 : 0;
        fine[x] = static_cast<std::uint16_t>(step);
        steps[x] = static_cast<std::uint8_t>((step + 128) >> 8);
    }
}

}  // namespace

PhaseSteps ToSteps(const cv::Mat1f& phase) {
    PhaseSteps images{cv::Mat1w(phase.size()), cv::Mat1b(phase.size())};
    ForRows(phase.size(), [&](int y) { PhaseRow(phase[y], images.fine[y], images.steps[y], phase.cols); });
    return images;
}

UnwrappedSteps ToSteps(const cv::Mat1f& phase, const cv::Mat1i& components, double lower) {
    const cv::Size size = phase.size();
    constexpr double perRadian = 256.0 / (2.0 * CV_PI);
    UnwrappedSteps images{cv::Mat1w(size), cv::Mat1w(size), cv::Mat1b(size)};
    ForRows(size, [&](int y) {
        const float* const in = phase[y];
        const int* const numbers = components[y];
        std::uint16_t *const steps = images.steps[y], *const written = images.components[y];
        std::uint8_t* const valid = images.valid[y];
        for (int x = 0; x < size.width; ++x) {
            const bool isValid = numbers[x] > 0;
            const double above = isValid ? static_cast<double>(in[x]) * perRadian - lower * 256.0 + 0.5 : 0.0;
            steps[x] = static_cast<std::uint16_t>(static_cast<int>(std::clamp(above, 0.0, 65535.0)));
            written[x] = static_cast<std::uint16_t>(std::min(numbers[x], 65535));
            valid[x] = isValid ? 255 : 0;
        }
    });
    return images;
}

}  // namespace vorip
