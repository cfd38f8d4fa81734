#include "ipbase/ipFilterBlock.h"

#include "ipbase/ipFilterColumns.h"
#include "ipbase/ipFilterMedian.h"
#include "ipbase/ipFilterRowsOf.h"

namespace KrN {

namespace {

// Pointers to the window samples of a whole row.
template <class Rows, class T>
void PointBlock(const BlockWindow& window, std::size_t y, std::size_t height, Rows& rows, std::vector<const T*>& taps) {
    for (std::size_t j = 0; j < window.ky; ++j) {
        const T* row = rows.Row(BlockRow(window, y + j, height));
        for (std::size_t i = 0; i < window.kx; ++i) taps[j * window.kx + i] = row + i;
    }
}

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

// --- With masks ------------------------------------------------------------------------------------------------------

template <class T>
void RunMasked(const BlockWindow& window, T* dst, const rows::MaskedTaps<T>& in, std::size_t count) {
    const rows::FilterRows& table = rows::GetFilterRows();
    using Tap = rows::MaskedTapRow<T>;
    switch (window.kind) {
        case WindowKind::eMean:
        case WindowKind::eWeighted:
            return std::get<rows::MaskedWeightedRow<T>>(table.maskedWeighted)(dst, in, window.weights.Data(), true,
                                                                              count);
        case WindowKind::eMedian: return;
        case WindowKind::eMinimum: return std::get<Tap>(table.maskedMinimum)(dst, in, count);
        case WindowKind::eMaximum: return std::get<Tap>(table.maskedMaximum)(dst, in, count);
    }
}

template <class T>
void FilterBlockMasked(const BlockWindow& window, Extent size, RowReader<T>& reader, RowWriter<T>& writer,
                       const KrTBuf2D<std::uint8_t>& mask) {
    KrTBuf2D<T> image = ReadAll(size, reader);
    RowReader<T> again(image);
    RowReader<std::uint8_t> maskReader(mask);
    PaddedRows<T> padded(again, size, window, window.ky);
    PaddedRows<std::uint8_t> paddedMask(maskReader, size, window, window.ky);
    std::vector<const T*> taps(std::size_t{window.kx} * window.ky);
    std::vector<const std::uint8_t*> masks(taps.size());
    for (std::size_t y = 0; y < size.height; ++y) {
        PointBlock(window, y, size.height, padded, taps);
        PointBlock(window, y, size.height, paddedMask, masks);
        RunMasked<T>(window, writer.Row(y), {taps.data(), masks.data(), taps.size(), image.Row(y), mask.Row(y)},
                     size.width);
        writer.Finish(y);
    }
}

// One pass along rows or columns.
template <class T>
void FilterLinesMasked(const LineWindow& window, bool columns, KrTBuf2D<T>& image, const KrTBuf2D<std::uint8_t>& mask) {
    const std::size_t width = image.Width(), height = image.Height();
    const BlockWindow block{window.kind, columns ? 1 : window.taps, columns ? window.taps : 1,
                            KrTBuf1D<std::int32_t>(), 1.0};
    KrTBuf2D<T> source = image;
    RowReader<T> reader(source);
    PaddedRows<T> padded(reader, {width, height}, block, block.ky);
    std::vector<const T*> taps(window.taps);
    std::vector<const std::uint8_t*> masks(window.taps);
    const std::size_t left = columns ? 0 : window.left, right = columns ? 0 : PaddingOf(window) - left;
    std::vector<std::uint8_t> paddedMask(left + width + right);
    for (std::size_t y = 0; y < height; ++y) {
        PointBlock(block, y, height, padded, taps);
        if (columns) {
            // Rows above the image count with the mask of the last row.
            for (std::size_t k = 0; k < masks.size(); ++k)
                masks[k] = mask.Row(y + k < window.left ? height - 1 : std::min(y + k - window.left, height - 1));
        } else {
            std::copy_n(mask.Row(y), width, paddedMask.data() + left);
            WrapMask(paddedMask.data(), width, left, right);
            PointTaps<std::uint8_t>(paddedMask.data(), masks);
        }
        const rows::MaskedTaps<T> in{taps.data(), masks.data(), window.taps, source.Row(y), mask.Row(y)};
        std::get<rows::MaskedWeightedRow<T>>(rows::GetFilterRows().maskedWeighted)(image.Row(y), in,
                                                                                   window.weights.Data(), false, width);
    }
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
    if (mask) {
        KrTBuf2D<T> image = ReadAll(size, reader);
        if (rows.taps > 0) FilterLinesMasked(rows, false, image, *mask);
        if (columns.taps > 0) FilterLinesMasked(columns, true, image, *mask);
        RowReader<T> result(image);
        return Copy(size, result, writer);
    }
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
