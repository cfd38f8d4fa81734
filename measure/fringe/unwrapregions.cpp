#include <bitset>
#include <cmath>
#include <cstdint>
#include <memory>

#include "imagemodel/imagemodel.h"
#include "ipbase/base/watch.h"
#include "ipbase/ipLUnwrap.h"
#include "measure/base/arguments.h"
#include "measure/base/phase.h"
#include "measure/fringe/components.h"
#include "measure/fringe/rowbands.h"
#include "measure/image.h"
#include "measure/unwrap.h"

namespace measure {
namespace {

constexpr char kStage[] = "growing and joining regions";
constexpr double kGrowing = 0.5, kJoined = 0.8;  // shares of the time until the regions are grown, and joined
constexpr double kCounting = 0.85, kFilling = 0.9, kSorting = 0.95;
constexpr int kRowsPerReport = 512;

// The orders of a component count modulo 256, and those of a large one run over the end. They follow one another
// without gaps, so that the widest gap in the circle of orders is where the component begins and ends.
class OrderSpan {
public:
    void Add(std::int32_t order) { mOrders.set(Place(order)); }

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
        return true;
    }

    // From 0 at the begin of the span.
    std::int32_t Straighten(std::int32_t order) const {
        const std::size_t place = Place(order);
        return static_cast<std::int32_t>(place < mBegin ? place + 256 - mBegin : place - mBegin);
    }

private:
    static std::size_t Place(std::int32_t order) { return static_cast<std::size_t>(order & 255); }

    std::bitset<256> mOrders;
    std::size_t mBegin = 0;
};

// What the unwrapper of the base library takes and gives: 256 steps per period, 128 in masks where excluded.
struct Planes {
    explicit Planes(cv::Size size) : steps(size), mask(size), target(size), targetMask(size), components(size) {}
    cv::Mat1b steps, mask;
    cv::Mat1w target;
    cv::Mat1b targetMask;
    cv::Mat1i components;
};

void FillPlanes(const cv::Mat1f& phase, const cv::Mat1b& usable, Planes& planes) {
    constexpr auto stepsPerRadian = static_cast<float>(256.0 / kTwoPi);
    ForRowBands(phase.size(), {}, "", [&](const cv::Range& range) {
        for (int y = range.start; y < range.end; ++y) {
            for (int x = 0; x < phase.cols; ++x) {
                const bool use = usable(y, x) && std::abs(phase(y, x)) < kLeastHugePhase;  // false for NaN
                const int step = use ? static_cast<int>(std::floor(phase(y, x) * stepsPerRadian + 0.5f)) : 0;
                planes.steps(y, x) = static_cast<std::uint8_t>(step & 255);
                planes.mask(y, x) = use ? 0 : 128;
            }
        }
    });
}

// Returns the least step of the target.
int Execute(Planes& planes, cv::Mat1b quality, const RegionOptions& options, const Progress& progress) try {
    const KrN::WorkWatch growth([&](double share) { progress.Report(kStage, kGrowing * share); });
    auto steps = ViewOf(planes.steps), mask = ViewOf(planes.mask);
    auto qualities = ViewOf(quality);
    auto target = ViewOf(planes.target);
    auto targetMask = ViewOf(planes.targetMask);
    auto components = ViewOf(planes.components);
    KrN::KrLUnWrap unwrapper;
    unwrapper.Execute(&steps, &qualities, &mask, &target, &targetMask, static_cast<unsigned char>(options.minQuality),
                      static_cast<std::uint32_t>(options.minPixels), static_cast<unsigned char>(options.orderMode), 0);
    progress.Report(kStage, kJoined);
    unwrapper.GetComponentLabels(&components);
    return unwrapper.GetRange().lower;
} catch (KrN::KrException* error) {
    const std::unique_ptr<KrN::KrException> owned(error);
    throw InputError(KrN::KrString(error->BuildMessage().c_str()).ToUtf8());
}

// The orders of the pixels that a component has, and those of each component.
std::vector<OrderSpan> CollectOrders(const cv::Mat1f& phase, int least, Planes& planes, cv::Mat1i& orders,
                                     const Progress& progress) {
    std::vector<OrderSpan> spans;
    for (int y = 0; y < phase.rows; ++y) {
        if (y % kRowsPerReport == 0) progress.Report(kStage, kCounting);
        for (int x = 0; x < phase.cols; ++x) {
            int& component = planes.components(y, x);
            if (planes.targetMask(y, x) & 64) component = 0;
            if (component == 0) continue;
            const double unwrapped = (planes.target(y, x) + least) * (kTwoPi / 256.0);
            orders(y, x) = cvRound((unwrapped - static_cast<double>(phase(y, x))) / kTwoPi);
            if (spans.size() <= static_cast<std::size_t>(component))
                spans.resize(static_cast<std::size_t>(component) + 1);
            spans[static_cast<std::size_t>(component)].Add(orders(y, x));
        }
    }
    return spans;
}

}  // namespace

Unwrapped UnwrapByRegions(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Mat1b& quality,
                          const RegionOptions& options, const Progress& progress) {
    RequireOneSize({"the phase", phase}, {{"the mask", usable}, {"the quality", quality}});
    RequireNotNegative("the least number of pixels of a component", options.minPixels);
    RequireSides("the phase", phase.size());
    RequireNumber(options.minQuality >= 0 && options.minQuality <= 254, "the least quality", options.minQuality,
                  "0 to 254");
    RequireNumber(options.orderMode >= 1 && options.orderMode <= 8, "the order mode", options.orderMode, "1 to 8");
    progress.Report(kStage);
    Planes planes(phase.size());
    FillPlanes(phase, usable, planes);
    const int least = Execute(planes, quality, options, progress);
    cv::Mat1i orders(phase.size());
    std::vector<OrderSpan> spans = CollectOrders(phase, least, planes, orders, progress);
    for (std::size_t i = 1; i < spans.size(); ++i)
        if (!spans[i].Find())
            throw InputError("a component spans 256 periods or more, which only joining by cost can unwrap");
    Unwrapped result{cv::Mat1f(phase.size()), planes.components, {}};
    for (int y = 0; y < phase.rows; ++y) {
        if (y % kRowsPerReport == 0) progress.Report(kStage, kFilling);
        for (int x = 0; x < phase.cols; ++x) {
            const int component = planes.components(y, x);
            if (component == 0) continue;
            const int order = spans[static_cast<std::size_t>(component)].Straighten(orders(y, x));
            result.phase(y, x) = phase(y, x) + static_cast<float>(kTwoPi * order);
        }
    }
    progress.Report(kStage, kSorting);
    SortComponents(result, options.minPixels);
    return result;
}

}  // namespace measure
