#pragma once

#include <limits>
#include <type_traits>

#include "imagemodel/krvalues.h"
#include "ipbase/ipFilterAccess.h"
#include "ipbase/ipFilterWindow.h"

// Filters of whole images. Masks are 255 in valid pixels and 0 in others; a null mask means that all are valid. Invalid
// pixels keep their value and do not count for others. A mask of another size than the image's goes on with its nearest
// pixel; where windows of weighted sums and medians reach beyond the image, a larger mask still has values of its own.
// Windows along lines see the mask of a line's last pixel beyond both of its ends.
namespace KrN {

// A window of kx * ky pixels around each pixel, from (x - kx/2, y - ky/2) on. Pixels beyond the image are copies of the
// nearest one. Without pixels in the window, nothing changes.
struct BlockWindow {
    WindowKind kind;
    std::uint32_t kx, ky;
    KrTBuf1D<std::int32_t> weights;  // of a weighted sum, row by row
    double scale = 1.0;
};

BlockWindow KernelBlock(const KrTBuf2D<std::int32_t>& kernel, double scale);
BlockWindow RankBlock(WindowKind kind, const KrTSize<std::uint32_t>& size);

using Mask = const KrTBuf2D<std::uint8_t>*;

template <class T>
void FilterBlock(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask mask);

// A line window on all rows, then another one on all columns; masks, which are for weighted sums alone, are those of
// the last pixel beyond both ends of a line.
template <class T>
void FilterRowsThenColumns(const LineWindow& rows, const LineWindow& columns, Extent size, RowReader<T>& reader,
                           RowWriter<T>& writer, Mask mask);
// Of an image in memory.
template <class T>
void FilterRowsThenColumns(const LineWindow& rows, const LineWindow& columns, KrTBuf2D<T>& image, Mask mask);

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
void FillEdges(const EdgeFill<T>& fill, std::uint32_t reachX, std::uint32_t reachY, Extent size, RowReader<T>& reader,
               RowWriter<T>& writer);

// --- The filters of a given size -------------------------------------------------------------------------------------

struct TakesMask {
    static void CheckMask(bool) {}
};
// Throw when a mask is to be used.
struct BinaryErosion {
    static void CheckMask(bool useMask);
    template <class T>
    static void Run(const KrTSize<std::uint32_t>& taps, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask) {
        FillEdges(ErosionFill(BinaryForeground<T>()), taps.cx / 2, taps.cy / 2, size, reader, writer);
    }
};
struct BinaryDilatation {
    static void CheckMask(bool useMask);
    template <class T>
    static void Run(const KrTSize<std::uint32_t>& taps, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask) {
        FillEdges(DilatationFill(BinaryForeground<T>()), taps.cx / 2, taps.cy / 2, size, reader, writer);
    }
};
struct GaussFilter : TakesMask {
    template <class T>
    static void Run(const KrTSize<std::uint32_t>& taps, Extent size, RowReader<T>& reader, RowWriter<T>& writer,
                    Mask mask) {
        FilterRowsThenColumns(GaussWindow(taps.cx), GaussWindow(taps.cy), size, reader, writer, mask);
    }
};
struct MeanFilter : TakesMask {
    template <class T>
    static void Run(const KrTSize<std::uint32_t>& taps, Extent size, RowReader<T>& reader, RowWriter<T>& writer,
                    Mask mask) {
        FilterRowsThenColumns(MeanWindow(taps.cx), MeanWindow(taps.cy), size, reader, writer, mask);
    }
};
template <WindowKind kind>
struct RankFilter : TakesMask {
    template <class T>
    static void Run(const KrTSize<std::uint32_t>& taps, Extent size, RowReader<T>& reader, RowWriter<T>& writer,
                    Mask mask) {
        FilterBlock(RankBlock(kind, taps), size, reader, writer, mask);
    }
};

}  // namespace KrN
