#include "measure/absolute/growthrows.h"

#include <limits>

#include "measure/absolute.h"
#include "measure/absolute/bridging.h"
#include "measure/base/wide.h"

namespace measure::rows {

MEASURE_WIDE void LiftRow(const float* __restrict phase, const std::int16_t* __restrict order,
                          const std::uint8_t* __restrict trust, float* __restrict absolute,
                          std::uint8_t* __restrict state, std::size_t count) {
    for (std::size_t x = 0; x < count; ++x) absolute[x] = phase[x] + kRadiansPerPeriod * static_cast<float>(order[x]);
    for (std::size_t x = 0; x < count; ++x) state[x] = trust[x] ? eRest : eOut;
}

MEASURE_WIDE void LinkRow(const float* __restrict absolute, const std::uint8_t* __restrict trust, float maxStep,
                          std::uint8_t* __restrict links, std::size_t count) {
    links[0] = trust[0] == eTrusted ? 1 : 0;
    for (std::size_t x = 1; x < count; ++x) links[x] = std::abs(absolute[x] - absolute[x - 1]) < maxStep ? 1 : 0;
    for (std::size_t x = count - 1; x > 0; --x) {
        const int own = trust[x] == eTrusted ? 1 : 0, before = trust[x - 1] == eTrusted ? 1 : 0;
        links[x] = static_cast<std::uint8_t>(own + (own & before & links[x]));
    }
}

MEASURE_WIDE Differences CompareRow(const GrownRow& row, const Repeat& repeat, std::size_t count) {
    float* __restrict absolute = row.absolute;
    std::uint8_t* __restrict state = row.state;
    const GrownRow r = row;
    const Repeat every = repeat;
    const int keepsAlone = every.radians == 0;
    Differences found;
    for (std::size_t x = 0; x < count; ++x) {
        const float own = r.phase[x] + kRadiansPerPeriod * static_cast<float>(r.order[x]);
        const int isTrusted = r.trust[x] == eTrusted, isFixed = state[x] == eFixed, isAlone = isTrusted & (1 - isFixed);
        const int differs = isFixed & !every.AreSame(absolute[x], own), isDropped = differs & isTrusted;
        const int isValid = (isFixed - isDropped) | (isAlone & keepsAlone);
        state[x] = static_cast<std::uint8_t>(-isValid);
        absolute[x] = isValid ? absolute[x] : std::numeric_limits<float>::quiet_NaN();
        found.corrected += differs - isDropped;
        found.contradicted += isDropped;
    }
    return found;
}

}  // namespace measure::rows
