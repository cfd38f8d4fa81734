#pragma once

#include "ipbase/geometry/source.h"

namespace KrN::geometry {

// Quarters are 0 to 3, counter-clockwise on the screen.
inline KrTSize<int> TurnedSize(KrTSize<int> size, int quarters) {
    return quarters % 2 ? KrTSize<int>{size.cy, size.cx} : size;
}

// The type that moves as the pixels do.
template <class T>
using MovedAs = std::conditional_t<std::is_same_v<T, float>, i32, T>;

// Between planes that share no pixels; the destination's size is the turned one.
template <class T>
void TurnPlane(const PixelPlane<T>& src, const PixelPlane<T>& dst, int quarters) {
    const auto width = static_cast<std::size_t>(dst.width);
    const auto out = [&](int y) { return const_cast<T*>(dst.Row(y)); };
    if (quarters % 2 == 0) {
        const auto reverse = KernelOf<UnaryRow<T, T>>(GetGeometryKernels().reverse);
        for (int y = 0; y < dst.height; ++y)
            if (quarters == 0)
                std::copy_n(src.Row(y), width, out(y));
            else
                reverse(out(y), src.Row(src.height - 1 - y), width);
        return;
    }
    // dst(x, y) = src(w - 1 - y, x) for one quarter, src(y, h - 1 - x) for three: a transposed image whose rows come
    // from the bottom, or whose columns come from the right.
    using U = MovedAs<T>;
    using Transpose = void (*)(U*, std::ptrdiff_t, const U*, std::ptrdiff_t, std::size_t, std::size_t);
    const auto transpose = KernelOf<Transpose>(GetGeometryKernels().transpose);
    const auto tile = static_cast<int>(kTurnTile);
    for (int y = 0; y < dst.height; y += tile)
        for (int x = 0; x < dst.width; x += tile) {
            const int columns = std::min(tile, dst.width - x), rows = std::min(tile, dst.height - y);
            const bool once = quarters == 1;
            const T* from = once ? src.Row(x) + (src.width - y - rows) : src.Row(src.height - 1 - x) + y;
            T* to = out(once ? y + rows - 1 : y) + x;
            transpose(reinterpret_cast<U*>(to), once ? -dst.stride : dst.stride, reinterpret_cast<const U*>(from),
                      once ? src.stride : -src.stride, static_cast<std::size_t>(columns),
                      static_cast<std::size_t>(rows));
        }
}

}  // namespace KrN::geometry
