#include "ipbase/ipLUnwrap.h"

#include <algorithm>
#include <utility>

#include "ipbase/base/rowwalk.h"
#include "ipbase/unwrap/info.h"
#include "ipbase/unwrap/regions/errors.h"
#include "ipbase/unwrap/regions/state.h"

namespace KrN {

using namespace unwrap;

struct KrLUnWrap::State : UnwrapState {};

KrLUnWrap::KrLUnWrap() : mState(std::make_unique<State>()) {}

KrLUnWrap::KrLUnWrap(const KrLUnWrap& other) : mState(std::make_unique<State>(*other.mState)) {
    if (other.mState->target == &other.mState->ownTarget) mState->target = &mState->ownTarget;
    if (other.mState->targetMask == &other.mState->ownMask) mState->targetMask = &mState->ownMask;
}

KrLUnWrap& KrLUnWrap::operator=(const KrLUnWrap& other) {
    if (this != &other) mState = std::move(KrLUnWrap(other).mState);
    return *this;
}

KrLUnWrap::~KrLUnWrap() = default;

void KrLUnWrap::Execute(KrAOI8* phase, KrAOI8* quality, KrAOI8* mask, unsigned char minQuality,
                        std::uint32_t minAreaSize, unsigned char orderQualMode, int centreOrders) {
    Require(phase && quality && mask, 98, kMissing);
    KrBufferAOI16 target(phase->AOISize());
    KrBufferAOI8 targetMask(mask->AOISize());
    State& s = *mState;
    s.Forget();  // what the buffers held
    s.ownTarget = std::move(target);
    s.ownMask = std::move(targetMask);
    Execute(phase, quality, mask, &s.ownTarget, &s.ownMask, minQuality, minAreaSize, orderQualMode, centreOrders);
}

void KrLUnWrap::Execute(KrAOI8* phase, KrAOI8* quality, KrAOI8* mask, KrAOI16* target, KrAOI8* targetMask,
                        unsigned char minQuality, std::uint32_t minAreaSize, unsigned char orderQualMode,
                        int centreOrders) {
    Require(phase && quality && mask && target && targetMask, 112, kMissing);
    const int width = std::min({phase->AOIWidth(), quality->AOIWidth(), mask->AOIWidth(), target->AOIWidth()});
    const int height = std::min({phase->AOIHeight(), quality->AOIHeight(), mask->AOIHeight(), target->AOIHeight()});
    const bool empty = width <= 0 || height <= 0;
    Require(empty || (targetMask->AOIWidth() >= width && targetMask->AOIHeight() >= height), 117, kMaskSize);

    target->RequireWritable();
    targetMask->RequireWritable();
    State& s = *mState;
    s.Forget();
    try {
        if (phase->GetAOIInfo())
            s.info = *phase->GetAOIInfo();
        else
            s.info.valueScale = 1.0;
        s.SetTargets(target, targetMask);
        s.SetAllowance(orderQualMode);
        if (empty) return;

        if (mask != targetMask) s.transfer.Copy(mask, targetMask);
        s.planes.Resize(width, height);
        s.Read(*phase, *quality, *mask);
        s.Unwrap(minQuality, minAreaSize, centreOrders != 0);
    } catch (...) {
        s.Forget();
        s.planes = {};
        throw;
    }
}

void KrLUnWrap::SetZeroPoint(unsigned short x, unsigned short y) {
    State& s = *mState;
    const std::size_t pixel = s.ValidPixel(x, y);
    if (!pixel) return;
    s.RequireTargets();
    const std::uint16_t zero = s.planes.phase[pixel];
    for (std::size_t i = 0; i < s.planes.phase.size(); ++i) {
        const std::uint16_t value = s.planes.phase[i];
        s.planes.phase[i] = s.planes.area[i] ? static_cast<std::uint16_t>(value - zero) : value;
    }
    s.ShowPhaseImage();
}

void KrLUnWrap::AddOrder(unsigned short x, unsigned short y, short order) {
    State& s = *mState;
    const std::size_t pixel = s.ValidPixel(x, y);
    if (!pixel) return;
    s.RequireTargets();
    const std::uint32_t root = s.forest.RootOf(s.planes.area[pixel] - 1);
    s.ForEachPixel(s.forest.AreasOf(root), [&s, order](std::uint32_t p) {
        s.planes.phase[p] = static_cast<std::uint16_t>(s.planes.phase[p] + order * 256);
    });
    s.ShowPhaseImage();
}

void KrLUnWrap::DelArea(unsigned short x, unsigned short y) {
    State& s = *mState;
    const std::size_t pixel = s.ValidPixel(x, y);
    if (!pixel) return;
    s.RequireTargets();
    const std::uint32_t root = s.forest.RootOf(s.planes.area[pixel] - 1);
    s.DelTreeAreas(s.forest.AreasOf(root));
    s.forest.RemoveRoot(root);
    s.ShowPhaseImage();
}

short KrLUnWrap::GetOrder(unsigned short x, unsigned short y) const {
    const UnwrapPlanes& planes = mState->planes;
    return planes.Contains(x, y) ? static_cast<std::int8_t>(planes.phase[planes.Row(y) + x] >> 8) : short{0};
}

KrTRange<std::int32_t> KrLUnWrap::GetRange() const { return mState->range; }

int KrLUnWrap::IsValidArea(unsigned short x, unsigned short y) const { return mState->ValidPixel(x, y) != 0; }

void KrLUnWrap::GetResult(KrAOI16* result, KrAOI8* resultMask) {
    State& s = *mState;
    s.CheckResult(result, resultMask, 1299);
    s.transfer.Copy(s.targetMask, resultMask);
    s.transfer.Copy(s.target, result);
    DescribeUnwrapped(*result, s.info, s.info.valueScale / 255.0);
}

void KrLUnWrap::GetResult(KrAOI32Float* result, KrAOI8* resultMask) {
    State& s = *mState;
    s.CheckResult(result, resultMask, 1213);
    s.transfer.Copy(s.targetMask, resultMask);
    const double scale = s.info.valueScale / 255.0;
    const double offset = scale * s.range.lower;
    WalkRows(
        Access::eSwitched,
        [=](float* phases, const std::uint16_t* values, std::size_t count) {
            for (std::size_t x = 0; x < count; ++x) phases[x] = static_cast<float>(scale * values[x] + offset);
        },
        result, static_cast<const KrAOI16*>(s.target));
    DescribeUnwrapped(*result, s.info, 1.0);
}

void KrLUnWrap::GetRadians(KrAOI32Float* result, KrAOI8* resultMask) const {
    State& s = *mState;
    Require(s.target != nullptr, 1258, kNoResult);
    s.CheckResult(result, resultMask, 1260);
    s.transfer.Copy(s.targetMask, resultMask);
    s.transfer.Clear(result, 0.0);
    constexpr double radians = KrMath::TwoPi / 256.0;
    const int width = std::min<int>(s.planes.width, result->AOIWidth());
    const int height = std::min<int>(s.planes.height, result->AOIHeight());
    TargetRows<float> rows(result, RouteOf(Access::eSwitched, result), width);
    for (int y = 0; width > 0 && y < height; ++y) {
        const std::size_t first = s.planes.Row(y);
        float* const row = rows.Row(y);
        for (std::size_t x = 0; x < static_cast<std::size_t>(width); ++x) {
            const auto phase = static_cast<std::int16_t>(s.planes.phase[first + x]);
            row[x] = s.planes.area[first + x] ? static_cast<float>(phase * radians) : 0.0f;
        }
        rows.Finish(y);
    }
    DescribeUnwrapped(*result, s.info, 1.0);
    result->GetAOIInfo()->unit = L"rad";
}

std::uint32_t KrLUnWrap::GetComponentCount() const { return static_cast<std::uint32_t>(mState->forest.Roots().size()); }

void KrLUnWrap::GetComponentLabels(KrAOI32* labels) const {
    Require(labels != nullptr, 1340, kMissing);
    const UnwrapPlanes& planes = mState->planes;
    const std::vector<std::uint32_t> component = mState->forest.ComponentOfAreas();
    const int width = std::min<int>(planes.width, labels->AOIWidth());
    const int height = std::min<int>(planes.height, labels->AOIHeight());
    TargetRows<std::int32_t> rows(labels, RouteOf(Access::eSwitched, labels), width);
    for (int y = 0; width > 0 && y < height; ++y) {
        const std::uint32_t* const area = planes.area.data() + planes.Row(y);
        std::int32_t* const row = rows.Row(y);
        for (int x = 0; x < width; ++x) row[x] = area[x] ? static_cast<std::int32_t>(component[area[x] - 1]) : 0;
        rows.Finish(y);
    }
}

}  // namespace KrN
