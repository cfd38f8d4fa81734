#include "measure/fringe/fullscale.h"

#include <algorithm>
#include <map>

#include "measure/error.h"
#include "measure/fringe/figures.h"
#include "measure/fringe/framepixels.h"

namespace measure {

void RequireFullScale(const FringeSet& set, const FringePhase& phase) {
    constexpr double kClearly = 1.02, kPixels = 1e-3;  // so many may be hot
    const double limit = kClearly * phase.limits.fullScale;
    const int depth = set.frames.front().depth();
    if ((depth == CV_8U && limit > 255) || (depth == CV_16U && limit > 65535)) return;
    const bool hasLimit = phase.limits.saturation <= 1;
    if (hasLimit && SaturatedShare(phase) < kPixels) return;
    auto peaks = Sample(phase.usable.size(), [&](int y, int x) {
        float peak = 0;
        for (const cv::Mat& frame : set.frames) peak = std::max(peak, LevelAt(frame, y, x));
        return peak;
    });
    if (peaks.empty()) return;
    const double level = static_cast<double>(QuantileOf(peaks, 1 - kPixels));
    if (level <= limit) return;
    const double most = static_cast<double>(*std::max_element(peaks.begin(), peaks.end()));
    double likely = most;
    for (const double scale : {65535.0, 16383.0, 4095.0, 1023.0, 255.0})
        if (scale >= most) likely = scale;
    throw InputError(cv::format("full scale: the pictures hold grey levels up to %g, which is more than %g: is it %g?",
                                most, phase.limits.fullScale, likely));
}

double FindClipLevel(const FringeSet& set, const FringePhase& phase) {
    constexpr double kLeastShare = 0.01, kNear = 0.03, kLeastLevels = 4, kHeap = 10, kAboveMiddle = 1.3;
    std::size_t number = 0;
    auto levels = Sample(phase.usable.size(), [&](int y, int x) {
        const cv::Mat& frame = set.frames[++number % set.frames.size()];  // some pixels of each
        return phase.usable(y, x) ? LevelAt(frame, y, x) : NAN;
    });
    if (levels.empty()) return 0;
    const float top = *std::max_element(levels.begin(), levels.end());
    const double most = static_cast<double>(top), near = most - std::max(kNear * most, kLeastLevels);
    std::size_t heap = 0;
    std::map<float, std::size_t> counts;  // of single levels below
    for (const float level : levels)
        if (level == top)
            ++heap;
        else if (static_cast<double>(level) >= near)
            ++counts[level];
    std::size_t next = 0;
    for (const auto& [level, count] : counts) next = std::max(next, count);
    const bool isHeap = static_cast<double>(heap) > kLeastShare * static_cast<double>(levels.size()) &&
                        static_cast<double>(heap) > kHeap * static_cast<double>(next);
    return isHeap && most >= kAboveMiddle * static_cast<double>(MedianOf(levels)) ? most : 0;
}

std::string ClipText(double level, double fullScale) {
    return cv::format(
        "many pixels have the grey level %g and none is brighter: does the camera saturate below full scale (%g)? "
        "Expose shorter, or give %g as full scale",
        level, fullScale, level);
}

}  // namespace measure
