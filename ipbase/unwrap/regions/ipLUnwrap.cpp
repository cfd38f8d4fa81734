#include "ipbase/ipLUnwrap.h"

#include <algorithm>
#include <utility>

#include "ipbase/unwrap/regions/boundaries.h"
#include "ipbase/unwrap/regions/join.h"
#include "ipbase/unwrap/regions/state.h"

namespace KrN {

using namespace unwrap;

namespace {

constexpr std::uint8_t kExcludedBit = 0x80;  // in the input mask
constexpr std::uint8_t kInvalidBit = 0x40;   // in the target mask
constexpr wchar_t kTargetChanged[] = L"Error in KrLUnwrap: the target AOI was resized or lost its pixels after Execute";
constexpr wchar_t kMaskChanged[] =
    L"Error in KrLUnwrap: the target mask AOI was resized or lost its pixels after Execute";

// Wrapped phases with order 0; levels are 0 where the mask excludes the pixel, else at least 1.
void ReadPlanes(const KrAOI8& phase, const KrAOI8& quality, const KrAOI8& mask, UnwrapPlanes& planes) {
    const Route route = RouteOf(Access::eSwitched, &phase, &quality, &mask);
    SourceRows<std::uint8_t> phases(&phase, route, planes.width), qualities(&quality, route, planes.width),
        masks(&mask, route, planes.width);
    for (int y = 0; y < planes.height; ++y) {
        std::copy_n(phases.Row(y), planes.width, planes.phase.data() + planes.Row(y));
        const std::uint8_t *values = qualities.Row(y), *marks = masks.Row(y);
        std::uint8_t* const level = planes.quality.data() + planes.Row(y);
        for (int x = 0; x < planes.width; ++x) {
            const std::uint8_t usable = std::min(values[x], std::uint8_t{254});
            level[x] = marks[x] & kExcludedBit ? std::uint8_t{0} : static_cast<std::uint8_t>(usable + 1);
        }
    }
}

}  // namespace

// Back to no result; the planes keep their memory for the next one.
void KrLUnWrap::State::Forget() {
    target = nullptr;
    targetMask = nullptr;
    planes.Clear();
    areas = {};
    forest = {};
    range = {};
}

void KrLUnWrap::State::SetTargets(KrAOI16* image, KrAOI8* mask) {
    target = image;
    targetMask = mask;
    targetShape = Shape(*image);
    maskShape = Shape(*mask);
}

// The caller may have changed them after Execute.
void KrLUnWrap::State::RequireTargets() const {
    Require(Shape(*target) == targetShape, 1150, kTargetChanged);
    Require(Shape(*targetMask) == maskShape, 1154, kMaskChanged);
    target->RequireWritable();
    targetMask->RequireWritable();
}

// Mode 1 allows any level, 2 to 7 the level itself down to 1/32 of it, 8 none.
void KrLUnWrap::State::SetAllowance(unsigned mode) {
    if (mode < 1 || mode > 8) return;
    for (unsigned level = 0; level < 256; ++level) {
        const unsigned value = mode == 1 ? 255 : mode == 8 ? 0 : level >> (mode - 2);
        allowance[level] = static_cast<std::uint8_t>(value);
    }
}

void KrLUnWrap::State::Unwrap(unsigned minQuality, std::uint32_t minAreaSize, bool liftMinimum) {
    areas = GrowUnwrapAreas(planes, minQuality, allowance);
    const std::vector<std::uint32_t> treeOfArea =
        NumberUnwrapTrees(planes, static_cast<std::uint32_t>(areas.areas.size()));
    forest = JoinUnwrapAreas(MeasureUnwrapBoundaries(planes, treeOfArea), treeOfArea);
    DropSmallComponents(minAreaSize);
    CorrectPhaseImage(forest.Corrections(liftMinimum));
    ShowPhaseImage();
}

void KrLUnWrap::State::DelTreeAreas(const std::vector<std::uint32_t>& treeAreas) {
    ForEachPixel(treeAreas, [this](std::uint32_t pixel) { planes.area[pixel] = 0; });
}

void KrLUnWrap::State::DropSmallComponents(std::uint32_t minAreaSize) {
    const std::vector<std::uint32_t> component = forest.ComponentOfAreas();
    std::vector<std::uint32_t> size(forest.Roots().size() + 1);
    for (std::size_t i = 0; i < component.size(); ++i) size[component[i]] += areas.areas[i].pixelCount;
    std::vector<std::uint32_t> dropped;
    for (std::size_t i = 0; i < component.size(); ++i) {
        if (size[component[i]] < minAreaSize) dropped.push_back(static_cast<std::uint32_t>(i));
    }
    DelTreeAreas(dropped);
    std::vector<std::uint32_t> kept;
    for (std::size_t i = 0; i < forest.Roots().size(); ++i) {
        if (size[i + 1] >= minAreaSize) kept.push_back(forest.Roots()[i]);
    }
    forest.SetRoots(std::move(kept));
}

void KrLUnWrap::State::CorrectPhaseImage(const std::vector<std::int16_t>& corrections) {
    if (std::all_of(corrections.begin(), corrections.end(), [](std::int16_t c) { return c == 0; })) return;
    std::vector<std::uint16_t> steps(corrections.size() + 1);  // by area number; nothing for pixels without area
    for (std::size_t i = 0; i < corrections.size(); ++i)
        steps[i + 1] = static_cast<std::uint16_t>(corrections[i] * 256);
    for (std::size_t i = 0; i < planes.phase.size(); ++i) {
        planes.phase[i] = static_cast<std::uint16_t>(planes.phase[i] + steps[planes.area[i]]);
    }
}

KrTRange<std::int32_t> KrLUnWrap::State::GetMinMaxPhase() const {
    std::int16_t minimum = 32767;
    std::int16_t maximum = -32768;
    for (std::size_t i = 0; i < planes.phase.size(); ++i) {
        const auto value = static_cast<std::int16_t>(planes.phase[i]);
        const bool valid = planes.area[i] != 0;
        minimum = std::min(minimum, valid ? value : std::int16_t{32767});
        maximum = std::max(maximum, valid ? value : std::int16_t{-32768});
    }
    if (minimum > maximum) return {};
    return {minimum, maximum};
}

void KrLUnWrap::State::ShowPhaseImage() {
    range = GetMinMaxPhase();
    const auto minimum = static_cast<std::uint16_t>(range.lower);
    TargetRows<std::uint16_t> values(target, RouteOf(Access::eSwitched, target), planes.width);
    TargetRows<std::uint8_t> marks(targetMask, RouteOf(Access::eSwitched, targetMask), planes.width);
    for (int y = 0; y < planes.height; ++y) {
        const std::uint32_t* const area = planes.area.data() + planes.Row(y);
        const std::uint16_t* const phase = planes.phase.data() + planes.Row(y);
        std::uint16_t* const value = values.Row(y);
        for (int x = 0; x < planes.width; ++x)
            value[x] = area[x] ? static_cast<std::uint16_t>(phase[x] - minimum) : std::uint16_t{0};
        values.Finish(y);
        std::uint8_t* const mark = marks.Load(y);
        for (int x = 0; x < planes.width; ++x)
            mark[x] = static_cast<std::uint8_t>((mark[x] & ~kInvalidBit) | (area[x] ? 0 : kInvalidBit));
        marks.Finish(y);
    }
}

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
        if (phase->GetAOIInfo()) {
            s.info = *phase->GetAOIInfo();
        } else {
            s.info.valueScale = 1.0;
        }
        s.SetTargets(target, targetMask);
        s.SetAllowance(orderQualMode);
        if (empty) return;

        if (mask != targetMask) s.transfer.Copy(mask, targetMask);
        s.planes.Resize(width, height);
        ReadPlanes(*phase, *quality, *mask, s.planes);
        s.Unwrap(minQuality, minAreaSize, centreOrders != 0);
    } catch (...) {
        s.Forget();
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

}  // namespace KrN
