#pragma once

#include <algorithm>
#include <cstddef>
#include <tuple>

#include "imagemodel/kraoi.h"
#include "ipbase/ipFrame.h"

// The walk over the rows of a destination and its sources. Kernels hand it a row function and contain no row loop of
// their own, unless they need neighbours.
namespace KrN {

// How pixels are reached: by address whenever all operands have addressable pixels; by address only when the switch for
// direct memory access is on as well; or likewise, but else pixel by pixel instead of row by row.
enum class Access { eTyped, eSwitched, eSwitchedPixels };

// The least width and height of all operands; empty when one is missing.
template <class... AOIs>
KrTSize<int> CommonRegion(const AOIs*... aois) {
    KrTSize<int> size{32767, 32767};
    const auto limit = [&size](const KrAOI* aoi) {
        size.cx = std::min<int>(size.cx, aoi ? aoi->AOIWidth() : 0);
        size.cy = std::min<int>(size.cy, aoi ? aoi->AOIHeight() : 0);
    };
    (limit(aois), ...);
    if (size.cx == 0 || size.cy == 0) return {0, 0};
    return size;
}

inline bool AllowsDirect(Access access) {
    return access == Access::eTyped || KrIPAccelerationInfo::HasToUseDirectMemoryAccess() != 0;
}

template <class... AOIs>
bool HaveRowPointers(const AOIs*... aois) {
    return ((aois->GetRowPointer(0) != nullptr) && ...);
}

namespace walk {

// How many pixels of a row can be computed at once so that the result is that of going pixel by pixel: all when source
// and destination are the same or disjoint, else at most the distance between them.
template <class D, class S>
std::size_t IndependentPixels(const D* dst, const S* src, std::size_t count) {
    const auto d = reinterpret_cast<std::uintptr_t>(dst);
    const auto s = reinterpret_cast<std::uintptr_t>(src);
    if (d == s && sizeof(D) == sizeof(S)) return count;
    if (d + count * sizeof(D) <= s || s + count * sizeof(S) <= d) return count;
    if (sizeof(D) != sizeof(S)) return 1;
    const std::size_t distance = (d > s ? d - s : s - d) / sizeof(D);
    return std::clamp<std::size_t>(distance, 1, count);
}

template <class Row, class D, class... S>
void RunRow(const Row& row, D* dst, std::size_t count, const S*... src) {
    const std::size_t step = std::min({count, IndependentPixels(dst, src, count)...});
    if (step == count) return row(dst, src..., count);
    for (std::size_t x = 0; x < count; x += step) row(dst + x, (src + x)..., std::min(step, count - x));
}

template <class T>
void Load(bool pixels, const KrTAOI<T>* aoi, int y, const KrColumnRange& columns, KrTBuf1D<T>& buffer) {
    if (!pixels) return aoi->ReadRow(y, columns, buffer);
    for (short x = columns.first; x <= columns.last; ++x)
        buffer[static_cast<std::size_t>(x - columns.first)] = aoi->ReadPixel({x, static_cast<short>(y)});
}

template <class T>
void Store(bool pixels, KrTAOI<T>* aoi, int y, const KrColumnRange& columns, const KrTBuf1D<T>& buffer) {
    if (!pixels) return aoi->WriteRow(y, columns, buffer);
    for (short x = columns.first; x <= columns.last; ++x)
        aoi->WritePixel({x, static_cast<short>(y)}, buffer[static_cast<std::size_t>(x - columns.first)]);
}

inline KrColumnRange Columns(int first, int count) {
    return {static_cast<std::int16_t>(first), static_cast<std::int16_t>(first + count - 1)};
}
inline KrColumnRange Columns(int width) { return Columns(0, width); }

// How much of row y to take at once when pixels have addresses but are not reached by them.
template <class D, class... S>
int BufferedPixels([[maybe_unused]] int y, int width, const KrTAOI<D>* dst, const KrTAOI<S>*... src) {
    if (!HaveRowPointers(dst, src...)) return width;
    const auto count = static_cast<std::size_t>(width);
    return static_cast<int>(
        std::min({count, IndependentPixels(dst->GetRowPointer(y), src->GetRowPointer(y), count)...}));
}

}  // namespace walk

// Runs `row(destination pixels, source pixels..., count)` over the common region, rows from top to bottom.
template <class Row, class D, class... S>
void WalkRows(Access access, const Row& row, KrTAOI<D>* dst, const KrTAOI<S>*... src) {
    const KrTSize<int> size = CommonRegion(dst, src...);
    if (size.cx == 0) return;
    const auto width = static_cast<std::size_t>(size.cx);
    if (AllowsDirect(access) && HaveRowPointers(dst, src...)) {
        const bool contiguous =
            dst->GetRowIncInBytes() == width * sizeof(D) && ((src->GetRowIncInBytes() == width * sizeof(S)) && ...);
        const int rows = contiguous ? 1 : size.cy;
        const std::size_t count = contiguous ? width * static_cast<std::size_t>(size.cy) : width;
        for (int y = 0; y < rows; ++y) walk::RunRow(row, dst->GetRowPointer(y), count, src->GetRowPointer(y)...);
        return;
    }
    const bool pixels = access == Access::eSwitchedPixels;
    KrTBuf1D<D> out(width);
    std::tuple<KrTBuf1D<S>...> in{KrTBuf1D<S>((static_cast<void>(src), width))...};
    for (int y = 0; y < size.cy; ++y) {
        const int step = walk::BufferedPixels(y, size.cx, dst, src...);
        for (int x = 0; x < size.cx; x += step) {
            const int count = std::min(step, size.cx - x);
            const KrColumnRange columns = walk::Columns(x, count);
            std::apply(
                [&](auto&... buffer) {
                    (walk::Load(pixels, src, y, columns, buffer), ...);
                    row(out.Data(), static_cast<const S*>(buffer.Data())..., static_cast<std::size_t>(count));
                    walk::Store(pixels, dst, y, columns, out);
                },
                in);
        }
    }
}

// Hands every row of the common region of images that are only read to `row(y, pixels..., count)`.
template <class Row, class... S>
void VisitRows(Access access, const Row& row, const KrTAOI<S>*... src) {
    const KrTSize<int> size = CommonRegion(src...);
    const auto width = static_cast<std::size_t>(size.cx);
    const bool direct = size.cx > 0 && AllowsDirect(access) && HaveRowPointers(src...);
    std::tuple<KrTBuf1D<S>...> in{KrTBuf1D<S>((static_cast<void>(src), direct ? 0 : width))...};
    for (int y = 0; y < size.cy; ++y) {
        if (direct) {
            row(y, src->GetRowPointer(y)..., width);
            continue;
        }
        std::apply(
            [&](auto&... buffer) {
                (walk::Load(access == Access::eSwitchedPixels, src, y, walk::Columns(size.cx), buffer), ...);
                row(y, static_cast<const S*>(buffer.Data())..., width);
            },
            in);
    }
}

}  // namespace KrN
