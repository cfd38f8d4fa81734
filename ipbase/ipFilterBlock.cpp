#include "ipbase/ipFilterBlock.h"

#include "ipbase/ipFilterColumns.h"
#include "ipbase/ipFilterMasked.h"
#include "ipbase/ipFilterMedian.h"

namespace KrN {

namespace {

LineWindow AsLine(const BlockWindow& window) {
    return {window.kind, window.kx * window.ky, 0, window.weights, window.scale};
}

template <class T>
void Copy(Extent size, RowReader<T>& reader, RowWriter<T>& writer) {
    for (std::size_t y = 0; y < size.height; ++y) {
        std::copy_n(reader.Row(y), size.width, writer.Row(y));
        writer.Finish(y);
    }
}

// A window along a line; without taps it changes nothing.
LineWindow AtLeastOne(const LineWindow& window) {
    return window.taps > 0 ? window : LineWindow{WindowKind::eMinimum, 1, 0, KrTBuf1D<std::int32_t>(), 1.0};
}

// Windows that reach far beyond all of the image are cut.
BlockWindow CutBlock(BlockWindow window, Extent size) {
    const auto cut = [](std::uint32_t taps, std::size_t extent) {
        return std::min(taps, static_cast<std::uint32_t>(2 * extent + 256 + (taps & 1)));
    };
    if (window.kind == WindowKind::eWeighted) return window;
    window.kx = cut(window.kx, size.width);
    window.ky = cut(window.ky, size.height);
    return window;
}

}  // namespace

BlockWindow KernelBlock(const KrTBuf2D<std::int32_t>& kernel, double scale) {
    BlockWindow window{WindowKind::eWeighted, static_cast<std::uint32_t>(kernel.Width()),
                       static_cast<std::uint32_t>(kernel.Height()),
                       KrTBuf1D<std::int32_t>(kernel.Width() * kernel.Height()), scale};
    std::copy_n(kernel.Row(0), window.weights.Size(), window.weights.Data());
    return window;
}

BlockWindow RankBlock(WindowKind kind, const KrTSize<std::uint32_t>& size) {
    return {kind, size.cx, size.cy, KrTBuf1D<std::int32_t>(), 1.0};
}

KrTBuf2D<std::uint8_t> FitMask(const KrTBuf2D<std::uint8_t>& mask, Extent size) {
    KrTBuf2D<std::uint8_t> fitted(size.width, size.height);
    const std::size_t known = std::min(size.width, mask.Width());
    for (std::size_t y = 0; y < size.height; ++y) {
        const std::uint8_t* from = mask.Row(std::min(y, mask.Height() - 1));
        std::copy_n(from, known, fitted.Row(y));
        std::fill_n(fitted.Row(y) + known, size.width - known, from[known - 1]);
    }
    return fitted;
}

template <class T>
void FilterRowsThenColumns(const LineWindow& rows, const LineWindow& columns, Extent size, RowReader<T>& reader,
                           RowWriter<T>& writer, Mask mask) {
    if (size.width == 0 || size.height == 0) return;
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
    const BlockWindow window = CutBlock(all, size);
    if (window.kx == 0 || window.ky == 0) return Copy(size, reader, writer);
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
