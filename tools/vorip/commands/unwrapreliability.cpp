#include "tools/vorip/commands/unwrapreliability.h"

#include <opencv2/imgproc.hpp>

namespace vorip {
namespace {

// The unwrapper's groups are the usable pixels that hang together by their edges. Counting them here keeps the pixels
// with the least phase, which the unwrapper's own 16-bit result cannot tell from dropped ones.
cv::Mat FindGroups(const cv::Mat& usable, std::uint32_t minGroup) {
    cv::Mat groups, figures, centres;
    cv::connectedComponentsWithStats(usable, groups, figures, centres, 4, CV_32S);
    for (int y = 0; y < groups.rows; ++y) {
        auto* group = groups.ptr<std::int32_t>(y);
        for (int x = 0; x < groups.cols; ++x) {
            const auto size = static_cast<std::uint32_t>(figures.at<int>(group[x], cv::CC_STAT_AREA));
            if (size < minGroup) group[x] = 0;
        }
    }
    return groups;
}

}  // namespace

UnwrappedSteps UnwrapByReliability(PhaseImage& phase, std::uint32_t minGroup, int* abortFlag) {
    const cv::Size size = phase.steps.size();
    UnwrappedSteps result;
    result.components = FindGroups(phase.usable, minGroup);
    result.valid = result.components != 0;

    auto wrapped = measure::View<KrN::KrAOI8>(phase.steps, L"phase");
    auto mask = measure::View<KrN::KrAOI8>(phase.usable, L"mask");
    KrN::KrAOIInfo info;
    info.valueScale = 6.284;  // with this one the result is in radians
    wrapped.SetAOIInfo(&info);
    KrN::KrLUnWrap_Velmor unwrapper;
    unwrapper.Execute(&wrapped, &mask, minGroup, abortFlag);
    cv::Mat radians(size, CV_32F), kept(size, CV_8U);
    auto radiansView = measure::View<KrN::KrAOI32Float>(radians, L"unwrapped phase");
    auto keptView = measure::View<KrN::KrAOI8>(kept, L"unwrapped mask");
    unwrapper.GetResult(&radiansView, &keptView);
    radians.convertTo(result.steps, CV_32S, 256.0 / KrN::KrMath::TwoPi);
    return result;
}

}  // namespace vorip
