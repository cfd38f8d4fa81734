#include "ipbase/unwrap/regions/state.h"

#include <algorithm>
#include <utility>

#include "ipbase/unwrap/regions/boundaries.h"
#include "ipbase/unwrap/regions/errors.h"
#include "ipbase/unwrap/regions/join.h"

namespace KrN {

using namespace unwrap;

namespace {

constexpr std::uint8_t kExcludedBit = 0x80;  // in the input mask
constexpr std::uint8_t kInvalidBit = 0x40;   // in the target mask

}  // namespace

// Back to no result; the planes keep their memory for the next one.
void UnwrapState::Forget() {
    target = nullptr;
    targetMask = nullptr;
    planes.Clear();
    areas = {};
    forest = {};
    range = {};
}

void UnwrapState::SetTargets(KrAOI16* image, KrAOI8* mask) {
    target = image;
    targetMask = mask;
    targetShape = UnwrapTargetShape(*image);
    maskShape = UnwrapTargetShape(*mask);
}

// The caller may have changed them after Execute.
void UnwrapState::RequireTargets() const {
    Require(UnwrapTargetShape(*target) == targetShape, 1150, kTargetChanged);
    Require(UnwrapTargetShape(*targetMask) == maskShape, 1154, kMaskChanged);
    target->RequireWritable();
    targetMask->RequireWritable();
}

// Wrapped phases with order 0; levels are 0 where the mask excludes the pixel, else at least 1.
void UnwrapState::Read(const KrAOI8& phase, const KrAOI8& quality, const KrAOI8& mask) {
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

// Mode 1 allows any level, 2 to 7 the level itself down to 1/32 of it, 8 none.
void UnwrapState::SetAllowance(unsigned mode) {
    if (mode < 1 || mode > 8) return;
    for (unsigned level = 0; level < 256; ++level) {
        const unsigned value = mode == 1 ? 255 : mode == 8 ? 0 : level >> (mode - 2);
        allowance[level] = static_cast<std::uint8_t>(value);
    }
}

void UnwrapState::Unwrap(unsigned minQuality, std::uint32_t minAreaSize, bool liftMinimum) {
    areas = GrowUnwrapAreas(planes, minQuality, allowance);
    const std::vector<std::uint32_t> treeOfArea =
        NumberUnwrapTrees(planes, static_cast<std::uint32_t>(areas.areas.size()));
    forest = JoinUnwrapAreas(MeasureUnwrapBoundaries(planes, treeOfArea), treeOfArea);
    DropSmallComponents(minAreaSize);
    CorrectPhaseImage(forest.Corrections(liftMinimum));
    ShowPhaseImage();
}

void UnwrapState::DelTreeAreas(const std::vector<std::uint32_t>& treeAreas) {
    ForEachPixel(treeAreas, [this](std::uint32_t pixel) { planes.area[pixel] = 0; });
}

void UnwrapState::DropSmallComponents(std::uint32_t minAreaSize) {
    const std::vector<std::uint32_t> component = forest.ComponentOfAreas();
    std::vector<std::uint32_t> size(forest.Roots().size() + 1);
    for (std::size_t i = 0; i < component.size(); ++i) size[component[i]] += areas.areas[i].pixelCount;
    std::vector<std::uint32_t> dropped;
    for (std::size_t i = 0; i < component.size(); ++i)
        if (size[component[i]] < minAreaSize) dropped.push_back(static_cast<std::uint32_t>(i));
    DelTreeAreas(dropped);
    std::vector<std::uint32_t> kept;
    for (std::size_t i = 0; i < forest.Roots().size(); ++i)
        if (size[i + 1] >= minAreaSize) kept.push_back(forest.Roots()[i]);
    forest.SetRoots(std::move(kept));
}

void UnwrapState::CorrectPhaseImage(const std::vector<std::int16_t>& corrections) {
    if (std::all_of(corrections.begin(), corrections.end(), [](std::int16_t c) { return c == 0; })) return;
    std::vector<std::uint16_t> steps(corrections.size() + 1);  // by area number; nothing for pixels without area
    for (std::size_t i = 0; i < corrections.size(); ++i)
        steps[i + 1] = static_cast<std::uint16_t>(corrections[i] * 256);
    for (std::size_t i = 0; i < planes.phase.size(); ++i)
        planes.phase[i] = static_cast<std::uint16_t>(planes.phase[i] + steps[planes.area[i]]);
}

KrTRange<std::int32_t> UnwrapState::GetMinMaxPhase() const {
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

void UnwrapState::ShowPhaseImage() {
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

void UnwrapState::CheckResult(const KrAOI* result, const KrAOI* resultMask, std::uint32_t line) const {
    Require(result && resultMask, line, kMissing);
    Require(target && result->AOISize() == target->AOISize(), line, kTargetSize);
    Require(resultMask->AOISize() == targetMask->AOISize(), line + 4, kMaskSize);
    result->RequireWritable();
    resultMask->RequireWritable();
}

}  // namespace KrN
