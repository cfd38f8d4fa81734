#include "measure/fringe/figures.h"

#include <algorithm>
#include <cmath>

#include "measure/fringe/framepixels.h"

namespace measure {

// From the mixed second difference over 2 x 2 pixels, which straight fringes and slopes of the brightness leave small.
double NoiseOf(const cv::Mat& frame, const cv::Mat1b& usable) {
    auto values = Sample(frame.size(), [&](int y, int x) {
        if (x + 1 >= frame.cols || y + 1 >= frame.rows || !usable(y, x) || !usable(y + 1, x + 1)) return NAN;
        return std::abs(LevelAt(frame, y, x) - LevelAt(frame, y, x + 1) - LevelAt(frame, y + 1, x) +
                        LevelAt(frame, y + 1, x + 1));
    });
    // Beyond four times the median there is texture.
    const double limit = 4 * std::max(static_cast<double>(MedianOf(values)), frame.depth() == CV_32F ? 0.0 : 1.0);
    double sum = 0, count = 0;
    for (const float value : values) {
        if (static_cast<double>(value) > limit) continue;
        sum += static_cast<double>(value);
        ++count;
    }
    return count > 0 ? sum / count * std::sqrt(CV_PI / 2) / 2 : 0;
}

double NoiseInPhase(const FringePhase& phase) {
    const cv::Mat1f& of = phase.phase;
    auto values = Sample(of.size(), [&](int y, int x) {
        if (x + 1 >= of.cols || y + 1 >= of.rows || !phase.usable(y, x) || !phase.usable(y + 1, x + 1)) return NAN;
        const double mixed =
            std::remainder(static_cast<double>(of(y, x) - of(y, x + 1) - of(y + 1, x) + of(y + 1, x + 1)), 2 * CV_PI);
        return static_cast<float>(std::abs(mixed)) * phase.modulation(y, x);
    });
    constexpr double kMedianOfSize = 0.6745;  // of deviations
    const auto frames = static_cast<double>(phase.shifts.size());
    return static_cast<double>(MedianOf(values)) / kMedianOfSize / 2 / std::sqrt(2 / frames);
}

double NoiseInResidual(const FringePhase& phase) {
    if (phase.residual.empty()) return INFINITY;
    const auto values =
        Sample(phase.residual.size(), [&](int y, int x) { return phase.usable(y, x) ? phase.residual(y, x) : NAN; });
    if (values.empty()) return INFINITY;
    double squares = 0;
    for (const float value : values) squares += static_cast<double>(value) * static_cast<double>(value);
    const auto frames = static_cast<double>(phase.shifts.size());
    return std::sqrt(squares / static_cast<double>(values.size()) * frames / (frames - 3));
}

double SaturatedShare(const FringePhase& phase) {
    return cv::countNonZero(phase.saturated) / std::max(1.0, static_cast<double>(phase.saturated.total()));
}

double MedianResidual(const FringePhase& phase) {
    if (phase.residual.empty()) return 0;
    return MedianOfUsable(phase, [&](int y, int x) { return phase.residual(y, x) / phase.modulation(y, x); });
}

}  // namespace measure
