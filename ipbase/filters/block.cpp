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
void FilterSeen(const BlockWindow& window, Extent size, Extent seen, RowReader<T>& reader, RowWriter<T>& writer,
                const KrTBuf2D<std::uint8_t>& mask) {
    KrTBuf2D<T> image(seen.width, seen.height);
    for (std::size_t y = 0; y < seen.height; ++y)
        PadLine(reader.Row(std::min(y, size.height - 1)), size.width, 0, seen.width - size.width, image.Row(y));
    RowReader<T> from(image);
    RowWriter<T> to(image);
    FilterBlock(window, seen, from, to, &mask);
    RowReader<T> filtered(image);
    Copy(size, filtered, writer);
}

}  // namespace

template <class T>
void FilterRowsThenColumns(const LineWindow& rows, const LineWindow& columns, Extent size, RowReader<T>& reader,
                           RowWriter<T>& writer, Mask mask) {
    if (size.width == 0 || size.height == 0) return;
    if (mask && !Fits(*mask, size)) {
        const KrTBuf2D<std::uint8_t> fitted = FitMask(*mask, size);
        return FilterLinesMasked(rows, columns, size, reader, writer, fitted);
    }
    if (mask) return FilterLinesMasked(rows, columns, size, reader, writer, *mask);
    FilteredRows<T> filtered(reader, AtLeastOne(rows), size, std::max(columns.taps, 2u));
    RunColumns<T>(AtLeastOne(columns), size, filtered, writer);
}

template <class T>
void FilterRowsThenColumns(const LineWindow& rows, const LineWindow& columns, KrTBuf2D<T>& image, Mask mask) {
    RowReader<T> reader(image);
    RowWriter<T> writer(image);
    FilterRowsThenColumns(rows, columns, {image.Width(), image.Height()}, reader, writer, mask);
}

template <class T>
void FilterBlock(const BlockWindow& all, Extent size, RowReader<T>& reader, RowWriter<T>& writer, Mask mask) {
    if (size.width == 0 || size.height == 0) return;
    const BlockWindow window = CutBlock(all);
    if (window.kx == 0 || window.ky == 0) return Copy(size, reader, writer);
    if (mask && !Fits(*mask, size)) {
        const Extent seen = Seen(window, size, *mask);
        const KrTBuf2D<std::uint8_t> fitted = FitMask(*mask, seen);
        if (seen.width != size.width || seen.height != size.height)
            return FilterSeen(window, size, seen, reader, writer, fitted);
        return FilterBlock(window, size, reader, writer, &fitted);
    }
    if (window.kind == WindowKind::eMedian) return FilterMedian(window, size, reader, writer, mask);
    if (mask) return FilterBlockMasked(window, size, reader, writer, *mask);
    if (window.kind == WindowKind::eMinimum || window.kind == WindowKind::eMaximum)
        return FilterRowsThenColumns(RankWindow(window.kind, window.kx), RankWindow(window.kind, window.ky), size,
                                     reader, writer, nullptr);
    PaddedRows<T> padded(reader, size, window, window.ky);
    const LineWindow line = AsLine(window);
    std::vector<const T*> taps(line.taps);
    for (std::size_t y = 0; y < size.height; ++y) {
        PointBlock(window, y, size.height, padded, taps);
        RunWindow(line, writer.Row(y), taps.data(), size.width);
        writer.Finish(y);
    }
}

#define VORIP_INSTANTIATE(T)                                                                                         \
  template void FilterBlock<T>(const BlockWindow&, Extent, RowReader<T>&, RowWriter<T>&, Mask);                      \
  template void FilterRowsThenColumns<T>(const LineWindow&, const LineWindow&, Extent, RowReader<T>&, RowWriter<T>&, \
                                         Mask);                                                                      \
  template void FilterRowsThenColumns<T>(const LineWindow&, const LineWindow&, KrTBuf2D<T>&, Mask)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
