#pragma once

#include <cstdlib>

#include "ipbase/base/rowaccess.h"

// The walk over the rows of a destination and its sources. Kernels hand it a row function and contain no row loop of
// their own, unless they need neighbours.
namespace KrN {

namespace walk {

// How many of `count` pixels can be computed at once so that the result is that of going pixel by pixel: all when
// source and destination are the same or disjoint, else at most the distance between them.
template <class D, class S>
int IndependentOf(const D* dst, const S* src, int count) {
    const auto d = reinterpret_cast<std::intptr_t>(dst), s = reinterpret_cast<std::intptr_t>(src);
    if (d == s && sizeof(D) == sizeof(S)) return count;
    if (d + count * std::intptr_t{sizeof(D)} <= s || s + count * std::intptr_t{sizeof(S)} <= d) return count;
    if (sizeof(D) != sizeof(S)) return 1;
    return static_cast<int>(std::clamp<std::intptr_t>(std::abs(d - s) / std::intptr_t{sizeof(D)}, 1, count));
}
template <class D, class... S>
int IndependentPixels(int count, [[maybe_unused]] const D* dst, const S*... src) {
    return std::min({count, IndependentOf(dst, src, count)...});
}

}  // namespace walk

// Runs `part(y, x, destination pixels, source pixels..., count)` over a region, rows from top to bottom: whole ones,
// but for those of partly overlapping views, which are taken in steps.
template <class Part, class D, class... S>
void WalkParts(KrTSize<int> size, Route route, const Part& part, KrTAOI<D>* dst, const KrTAOI<S>*... src) {
    const bool addressable = HaveRowPointers(dst, src...);
    const auto walk = [&](TargetRows<D> to, SourceRows<S>... from) {
        for (int y = 0; y < size.cy; ++y) {
            const int step = addressable
                                 ? walk::IndependentPixels(size.cx, dst->GetRowPointer(y), src->GetRowPointer(y)...)
                                 : size.cx;
            for (int x = 0; x < size.cx; x += step) {
                const int count = std::min(step, size.cx - x);
                part(y, x, to.Row(y, x), from.Part(y, x, count)..., static_cast<std::size_t>(count));
                to.Finish(y, x, count);
            }
        }
    };
    walk({dst, route, size.cx}, {src, route, size.cx}...);
}

// Runs `row(destination pixels, source pixels..., count)` over the common region, in the same order. Images without
// gaps between their rows are one long row.
template <class Row, class D, class... S>
void WalkRows(Access access, const Row& row, KrTAOI<D>* dst, const KrTAOI<S>*... src) {
    KrTSize<int> size = CommonRegion(dst, src...);
    if (size.cx == 0) return;
    const Route route = RouteOf(access, dst, src...);
    const auto isGapless = [&size](const auto* aoi) {
        return aoi->GetRowIncInBytes() == static_cast<std::size_t>(size.cx) * sizeof(*aoi->GetRowPointer(0));
    };
    if (route == Route::eAddress && isGapless(dst) && (isGapless(src) && ...)) size = {size.cx * size.cy, 1};
    WalkParts(
        size, route, [&](int, int, D* d, const S*... s, std::size_t n) { row(d, s..., n); }, dst, src...);
}

// The same with a constant behind the pixels: `row(destination pixels, source pixels..., constant, count)`.
template <class Row, class K, class D, class... S>
void WalkConstant(Access access, const Row& row, const K& constant, KrTAOI<D>* dst, const KrTAOI<S>*... src) {
    WalkRows(
        access, [&](D* d, const S*... s, std::size_t n) { row(d, s..., constant, n); }, dst, src...);
}

// Hands every row of the common region of images that are only read to `row(y, pixels..., count)`.
template <class Row, class... S>
void VisitRows(Access access, const Row& row, const KrTAOI<S>*... src) {
    const KrTSize<int> size = CommonRegion(src...);
    if (size.cx == 0) return;
    const Route route = RouteOf(access, src...);
    const auto visit = [&](SourceRows<S>... from) {
        for (int y = 0; y < size.cy; ++y) row(y, from.Row(y)..., static_cast<std::size_t>(size.cx));
    };
    visit({src, route, size.cx}...);
}

}  // namespace KrN
