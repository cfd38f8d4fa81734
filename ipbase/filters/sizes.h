#pragma once

#include "ipbase/filters/binary.h"
#include "ipbase/filters/block.h"

// The filters of a given size, as the templates and the front ends run them.
namespace KrN {

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
        FilterSeparable(GaussWindow(taps.cx), GaussWindow(taps.cy), size, reader, writer, mask);
    }
};
struct MeanFilter : TakesMask {
    template <class T>
    static void Run(const KrTSize<std::uint32_t>& taps, Extent size, RowReader<T>& reader, RowWriter<T>& writer,
                    Mask mask) {
        FilterSeparable(MeanWindow(taps.cx), MeanWindow(taps.cy), size, reader, writer, mask);
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
