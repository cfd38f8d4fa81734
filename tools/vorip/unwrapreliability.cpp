#include "tools/vorip/unwrapreliability.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <opencv2/imgproc.hpp>

#include "tools/vorip/failure.h"

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

UnwrapResult UnwrapByReliability(PhaseImage& phase, std::uint32_t minGroup, const std::optional<Pair<int>>& zero,
                                 const std::string& zeroName, int* abortFlag) {
    const cv::Size size = phase.steps.size();
    UnwrapResult result;
    result.components = FindGroups(phase.usable, minGroup);
    result.valid = result.components != 0;
    if (zero && !result.valid.at<std::uint8_t>(zero->second, zero->first)) {
        Refuse(zeroName + ": that pixel is excluded, it has no unwrapped phase");
    }

    auto wrapped = View<KrN::KrAOI8>(phase.steps, L"phase");
    auto mask = View<KrN::KrAOI8>(phase.usable, L"mask");
    KrN::KrAOIInfo info;
    info.valueScale = 6.284;  // with this one the result is in radians
    wrapped.SetAOIInfo(&info);
    KrN::KrLUnWrap_Velmor unwrapper;
    unwrapper.Execute(&wrapped, &mask, minGroup, abortFlag);
    cv::Mat radians(size, CV_32F), kept(size, CV_8U), steps(size, CV_32S);
    auto radiansView = View<KrN::KrAOI32Float>(radians, L"unwrapped phase");
    auto keptView = View<KrN::KrAOI8>(kept, L"unwrapped mask");
    unwrapper.GetResult(&radiansView, &keptView);

    std::int32_t lowest = std::numeric_limits<std::int32_t>::max(), highest = std::numeric_limits<std::int32_t>::min();
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const double exact = static_cast<double>(radians.at<float>(y, x)) * (256.0 / KrN::KrMath::TwoPi);
            const auto value = static_cast<std::int32_t>(std::lround(exact));
            steps.at<std::int32_t>(y, x) = value;
            if (!result.valid.at<std::uint8_t>(y, x)) continue;
            lowest = std::min(lowest, value);
            highest = std::max(highest, value);
        }
    }
    if (lowest > highest) lowest = highest = 0;
    result.steps16.create(size, CV_16U);
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const bool valid = result.valid.at<std::uint8_t>(y, x) != 0;
            const std::int32_t above = valid ? steps.at<std::int32_t>(y, x) - lowest : 0;
            result.steps16.at<std::uint16_t>(y, x) = static_cast<std::uint16_t>(above);
        }
    }
    const std::int32_t origin = zero ? steps.at<std::int32_t>(zero->second, zero->first) : 0;
    const bool fine = zero && !phase.residual.empty();
    const double zeroResidual = fine ? static_cast<double>(phase.residual.at<float>(zero->second, zero->first)) : 0.0;
    result.lowerPeriods = (lowest - origin) / 256.0;
    result.upperPeriods = (highest - origin) / 256.0;
    result.radians = ToRadians(result, phase.residual, lowest - origin, zeroResidual);
    return result;
}

}  // namespace vorip
