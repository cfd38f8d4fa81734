#include "ipbase/filters/block.h"

#include "ipbase/filters/columns.h"
#include "ipbase/filters/masked.h"
#include "ipbase/filters/median.h"

namespace KrN {

namespace {

LineWindow AsLine(const BlockWindow& window) {
    LineWindow line = KernelWindow(window.weights, window.scale);
    line.left = 0;
    return line;
}

// A window along a line; without taps it changes nothing.
LineWindow AtLeastOne(const LineWindow& window) {
    return window.taps > 0 ? window : RankWindow(WindowKind::eMinimum, 1);
}

BlockWindow CutBlock(BlockWindow window) {
    if (window.kind == WindowKind::eWeighted) return window;
    window.kx = std::min(window.kx, kMostTaps);
    window.ky = std::min(window.ky, kMostTaps);
    return window;
}

bool Fits(const KrTBuf2D<std::uint8_t>& mask, Extent size) {
    return mask.Width() == size.width && mask.Height() == size.height;
}

// A mask of the size of an image, continued by its nearest pixel.
KrTBuf2D<std::uint8_t> FitMask(const KrTBuf2D<std::uint8_t>& mask, Extent size) {
    KrTBuf2D<std::uint8_t> fitted(size.width, size.height);
    const std::size_t known = std::min(size.width, mask.Width());
    for (std::size_t y = 0; y < size.height; ++y)
        PadLine(mask.Row(std::min(y, mask.Height() - 1)), known, 0, size.width - known, fitted.Row(y));
    return fitted;
}

// The image with the rows and columns to the right of it and below that its windows see with a mask of their own.
Extent Seen(const BlockWindow& window, Extent size, const KrTBuf2D<std::uint8_t>& mask) {
    if (window.kind != WindowKind::eWeighted && window.kind != WindowKind::eMedian) return size;
    const auto seen = [](std::size_t extent, std::uint32_t taps, std::size_t masked) {
        return std::max(extent, std::min(extent + taps - 1 - taps / 2, masked));
    };
    return {seen(size.width, window.kx, mask.Width()), seen(size.height, window.ky, mask.Height())};
}

template <class T>
void SumBlock(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer) {
    PaddedRows<T> padded(reader, size, window, window.ky);
    const LineWindow line = AsLine(window);
    std::vector<const T*> taps(line.taps);
    for (std::size_t y = 0; y < size.height; ++y) {
        PointBlock(window, y, size.height, padded, taps);
        RunWindow(line, writer.Row(y), taps.data(), size.width);
        writer.Finish(y);
    }
}

// A window of at least one pixel, and a mask of the size of the image, if any.
template <class T>
void FilterByKind(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask mask) {
    switch (window.kind) {
        case WindowKind::eMedian: return FilterMedian(window, size, reader, writer, mask);
        case WindowKind::eMinimum:
        case WindowKind::eMaximum:
            if (mask) return FilterBlockMasked(window, size, reader, writer, *mask);
            // Extremes of rectangles are separable.
            return FilterSeparable(RankWindow(window.kind, window.kx), RankWindow(window.kind, window.ky), size, reader,
                                   writer, nullptr);
        case WindowKind::eMean:
        case WindowKind::eWeighted:
            if (mask) return FilterBlockMasked(window, size, reader, writer, *mask);
            return SumBlock(window, size, reader, writer);
    }
}

// The image is continued to what windows see of the mask, filtered there, and cut back.
template <class T>
void FilterSeen(const BlockWindow& window, Extent size, Extent seen, RowReader<T>& reader, RowWriter<T>& writer,
                Mask mask) {
    KrTBuf2D<T> image(seen.width, seen.height);
    for (std::size_t y = 0; y < seen.height; ++y)
        PadLine(reader.Row(std::min(y, size.height - 1)), size.width, 0, seen.width - size.width, image.Row(y));
    RowReader<T> from(image);
    RowWriter<T> to(image);
    FilterByKind(window, seen, from, to, mask);
    RowReader<T> filtered(image);
    Copy(size, filtered, writer);
}

}  // namespace

template <class T>
void FilterBlock(const BlockWindow& all, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask mask) {
    if (size.width == 0 || size.height == 0) return;
    if (all.kx == 0 || all.ky == 0) return Copy(size, reader, writer);
    const BlockWindow window = CutBlock(all);
    if (!mask || Fits(*mask, size)) return FilterByKind(window, size, reader, writer, mask);
    const Extent seen = Seen(window, size, *mask);
    const KrTBuf2D<std::uint8_t> fitted = FitMask(*mask, seen);
    if (Fits(fitted, size)) return FilterByKind(window, size, reader, writer, &fitted);
    FilterSeen(window, size, seen, reader, writer, &fitted);
}

template <class T>
void FilterSeparable(const LineWindow& rows, const LineWindow& columns, Extent size, RowReader<T>& reader,
                     RowWriter<T>& writer, Mask mask) {
    if (size.width == 0 || size.height == 0) return;
    if (mask) {
        const bool fits = Fits(*mask, size);
        const KrTBuf2D<std::uint8_t> fitted = fits ? KrTBuf2D<std::uint8_t>() : FitMask(*mask, size);
        return FilterSeparableMasked(rows, columns, size, reader, writer, fits ? *mask : fitted);
    }
    FilteredRows<T> filtered(reader, AtLeastOne(rows), size, RowsToKeep(columns.taps));
    FilterDown<T>(AtLeastOne(columns), size, filtered, writer);
}

#define VORIP_INSTANTIATE(T)                                                                    \
  template void FilterBlock<T>(const BlockWindow&, Extent, RowReader<T>&, RowWriter<T>&, Mask); \
  template void FilterSeparable<T>(const LineWindow&, const LineWindow&, Extent, RowReader<T>&, RowWriter<T>&, Mask)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
