#pragma once

#include <limits>
#include <type_traits>

#include "imagemodel/krvalues.h"
#include "ipbase/ipFilterWindow.h"

// Filters of a whole image in memory, in place. Mask values below 64 mark valid pixels; a null mask means that all are;
// a mask has the size of the image. Invalid pixels keep their value and do not count for others.
namespace KrN {

// A window of kx * ky pixels around each pixel, from (x - kx/2, y - ky/2) on.
struct BlockWindow {
    WindowKind kind;
    std::uint32_t kx, ky;
    KrTBuf1D<std::int32_t> weights;  // of a weighted sum, row by row
    double scale = 1.0;
};

BlockWindow KernelBlock(const KrTBuf2D<std::int32_t>& kernel, double scale);
// Windows that reach far beyond all of the image are cut.
BlockWindow RankBlock(WindowKind kind, const KrTSize<std::uint32_t>& size, std::size_t width, std::size_t height);

template <class T>
using Image = KrTBuf2D<T>;
using Mask = const KrTBuf2D<std::uint8_t>*;

// A mask of the size of an image from one of any size, continued by its nearest pixel.
KrTBuf2D<std::uint8_t> FitMask(const KrTBuf2D<std::uint8_t>& mask, std::size_t width, std::size_t height);

// The window; pixels beyond the image are copies of the nearest one.
template <class T>
void FilterBlock(const BlockWindow& window, Image<T>& image, Mask mask);

// A line window on all rows, then another one on all columns; masks beyond the ends of a line are those of its last
// pixel. Masks matter to weighted sums alone.
template <class T>
void FilterRowsThenColumns(const LineWindow& rows, const LineWindow& columns, Image<T>& image, Mask mask);

// Where a line rises to the foreground value or above, or falls below it, `reach` samples from the edge on become
// `value`: those on the foreground's side of it, or, when `outwards`, those on the other side. The ends of a line are
// no edges. On all rows, then on all columns.
template <class T>
struct EdgeFill {
    T foreground;
    T value;
    bool outwards;
};
template <class T>
T BinaryForeground() {
    if constexpr (std::is_signed_v<T> && std::is_integral_v<T>)
        return T{-1};
    else
        return std::numeric_limits<T>::max();
}
template <class T>
EdgeFill<T> ErosionFill(T foreground) {
    return {foreground, T{0}, false};
}
template <class T>
EdgeFill<T> DilatationFill(T foreground) {
    return {foreground, foreground, true};
}
template <class T>
void FillEdges(const EdgeFill<T>& fill, std::uint32_t reachX, std::uint32_t reachY, Image<T>& image);

}  // namespace KrN
