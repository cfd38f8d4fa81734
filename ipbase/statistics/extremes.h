#pragma once

#include <limits>
#include <optional>

#include "ipbase/base/rowwalk.h"
#include "ipbase/kernels/scale.h"

namespace KrN {

// What no pixel has widened yet: the least is greater than the greatest.
template <class T>
constexpr kernels::Extremes<T> NoExtremes() {
    using Limits = std::numeric_limits<T>;
    if constexpr (Limits::has_infinity) return {Limits::infinity(), -Limits::infinity()};
    return {Limits::max(), Limits::lowest()};
}

// Least and greatest of the pixels in every step.x-th column and step.y-th row of the view, or of its top-left part of
// the given size; nothing when there is no number among them.
template <class T>
std::optional<kernels::Extremes<T>> FindExtremes(const KrTAOI<T>* aoi, const KrTPoint<short>& step,
                                                 const KrTSize<int>& part = {32767, 32767}) {
    const auto range = std::get<kernels::RangeRow<T>>(kernels::GetScaleKernels().range);
    const int stepY = std::max<int>(step.y, 1);
    const auto stepX = static_cast<std::size_t>(std::max<int>(step.x, 1));
    kernels::Extremes<T> extremes = NoExtremes<T>();
    KrTBuf1D<T> sampled(stepX > 1 && aoi ? static_cast<std::size_t>(aoi->AOIWidth()) : 0);
    VisitRows(
        Access::eSwitched,
        [&](int y, const T* row, std::size_t count) {
            if (y >= part.cy || y % stepY != 0) return;
            count = std::min(count, static_cast<std::size_t>(part.cx));
            if (stepX == 1) return range(row, count, extremes);
            std::size_t taken = 0;
            for (std::size_t x = 0; x < count; x += stepX) sampled[taken++] = row[x];
            range(sampled.Data(), taken, extremes);
        },
        aoi);
    if (extremes.least > extremes.greatest) return std::nullopt;
    return extremes;
}

}  // namespace KrN
