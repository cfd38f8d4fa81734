// What the region unwrapper gives of its result.
#include <algorithm>

#include "ipbase/base/rowwalk.h"
#include "ipbase/unwrap/info.h"
#include "ipbase/unwrap/regions/state.h"

namespace KrN {

using namespace unwrap;

namespace {

constexpr wchar_t kNoResult[] = L"Error in KrLUnwrap: there is no result, Execute comes first";

}  // namespace

void KrLUnWrap::State::CheckResult(const KrAOI* result, const KrAOI* resultMask, std::uint32_t line) const {
    Require(result && resultMask, line, kMissing);
    Require(target && result->AOISize() == target->AOISize(), line, kTargetSize);
    Require(resultMask->AOISize() == targetMask->AOISize(), line + 4, kMaskSize);
    result->RequireWritable();
    resultMask->RequireWritable();
}

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
