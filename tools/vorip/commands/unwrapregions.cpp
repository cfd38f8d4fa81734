#include "tools/vorip/commands/unwrapregions.h"

#include <bitset>
#include <cstdint>

#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

// The orders of a component count modulo 256, and those of a large one run over the end. They follow one another
// without gaps, so that the widest gap in the circle of orders is where the component begins and ends.
class OrderSpan {
public:
    void Add(std::int32_t steps) { mOrders.set(Order(steps)); }

    // Finds the begin of the span; false when the orders fill the circle.
    bool Find() {
        if (mOrders.all()) return false;
        std::size_t gap = 0, widest = 0;
        for (std::size_t i = 0; i < 512; ++i) {
            gap = mOrders[i % 256] ? 0 : gap + 1;
            if (gap <= widest) continue;
            widest = gap;
            mBegin = (i + 1) % 256;
        }
        const std::size_t twiceTheMiddle = 2 * mBegin + 256 - widest;
        mLift = twiceTheMiddle >= 512 ? -65536 : 0;
        return true;
    }

    std::int32_t Straighten(std::int32_t steps) const { return steps + mLift + (Order(steps) < mBegin ? 65536 : 0); }

private:
    static std::size_t Order(std::int32_t steps) { return static_cast<std::size_t>((steps >> 8) + 128); }

    std::bitset<256> mOrders;
    std::size_t mBegin = 0;
    std::int32_t mLift = 0;
};

void StraightenOrders(UnwrappedSteps& result, std::uint32_t components) {
    std::vector<OrderSpan> spans(std::size_t{components} + 1);
    const auto forEachPixel = [&](const auto& visit) {
        for (int y = 0; y < result.steps.rows; ++y) {
            auto* steps = result.steps.ptr<std::int32_t>(y);
            const auto* component = result.components.ptr<std::int32_t>(y);
            for (int x = 0; x < result.steps.cols; ++x) {
                if (component[x] > 0) visit(steps[x], spans[static_cast<std::size_t>(component[x])]);
            }
        }
    };
    forEachPixel([](std::int32_t steps, OrderSpan& span) { span.Add(steps); });
    for (std::size_t i = 1; i < spans.size(); ++i) {
        if (!spans[i].Find()) {
            Refuse("a component spans 256 periods or more, which only --method reliability can unwrap");
        }
    }
    forEachPixel([](std::int32_t& steps, const OrderSpan& span) { steps = span.Straighten(steps); });
}

}  // namespace

UnwrappedSteps UnwrapByRegions(PhaseImage& phase, cv::Mat& quality, const UnwrapOptions& options) {
    const cv::Size size = phase.steps.size();
    cv::Mat mask = ToUnwrapMask(phase.usable), target(size, CV_16U), targetMask(size, CV_8U);
    UnwrappedSteps result;
    result.components.create(size, CV_32S);

    auto phaseView = measure::View<KrN::KrAOI8>(phase.steps, L"phase");
    auto qualityView = measure::View<KrN::KrAOI8>(quality, L"quality");
    auto maskView = measure::View<KrN::KrAOI8>(mask, L"mask");
    auto targetView = measure::View<KrN::KrAOI16>(target, L"unwrapped phase");
    auto targetMaskView = measure::View<KrN::KrAOI8>(targetMask, L"unwrapped mask");
    auto components = measure::View<KrN::KrAOI32>(result.components, L"components");

    KrN::KrLUnWrap unwrapper;
    unwrapper.Execute(&phaseView, &qualityView, &maskView, &targetView, &targetMaskView,
                      static_cast<unsigned char>(options.minQuality), static_cast<std::uint32_t>(options.minArea),
                      static_cast<unsigned char>(options.orderMode), 0);
    unwrapper.GetComponentLabels(&components);
    result.valid = (targetMask & 64) == 0;
    target.convertTo(result.steps, CV_32S, 1.0, unwrapper.GetRange().lower);
    StraightenOrders(result, unwrapper.GetComponentCount());
    return result;
}

}  // namespace vorip
