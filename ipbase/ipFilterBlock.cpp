#include "ipbase/ipFilterBlock.h"

#include "ipbase/ipFilterLine.h"

namespace KrN {

namespace {

// The image with its rows padded on both sides, and pointers to the window samples of a whole row.
template <class T>
class PaddedRows {
public:
    PaddedRows(const Image<T>& image, std::size_t left, std::size_t right)
        : mRows(left + image.Width() + right, image.Height()) {
        for (std::size_t y = 0; y < image.Height(); ++y)
            PadLine(image.Row(y), image.Width(), left, right, mRows.Row(y));
    }
    T* Row(std::size_t y) { return mRows.Row(y); }
    // For output row y of a window with `above` rows above it; rows beyond the image are its first or last one.
    void Point(std::size_t y, std::size_t above, std::size_t kx, std::vector<const T*>& taps) const {
        for (std::size_t t = 0; t < taps.size(); ++t) {
            const std::size_t below = y + t / kx;
            taps[t] = mRows.Row(std::min(below - std::min(below, above), mRows.Height() - 1)) + t % kx;
        }
    }

private:
    KrTBuf2D<T> mRows;
};

template <class T>
void RunMasked(const BlockWindow& window, T* dst, const rows::MaskedTaps<T>& in, std::size_t count) {
    const rows::FilterRows& table = rows::GetFilterRows();
    using Tap = rows::MaskedTapRow<T>;
    switch (window.kind) {
        case WindowKind::eWeighted:
            return std::get<rows::MaskedWeightedRow<T>>(table.maskedWeighted)(dst, in, window.weights.Data(), true,
                                                                              count);
        case WindowKind::eMedian: return std::get<Tap>(table.maskedMedian)(dst, in, count);
        case WindowKind::eMinimum: return std::get<Tap>(table.maskedMinimum)(dst, in, count);
        case WindowKind::eMaximum: return std::get<Tap>(table.maskedMaximum)(dst, in, count);
    }
}

LineWindow AsLine(const BlockWindow& window, std::size_t taps) {
    return {window.kind, static_cast<std::uint32_t>(taps), 0, window.weights, window.scale};
}

}  // namespace

BlockWindow KernelBlock(const KrTBuf2D<std::int32_t>& kernel, double scale) {
    BlockWindow window{WindowKind::eWeighted, static_cast<std::uint32_t>(kernel.Width()),
                       static_cast<std::uint32_t>(kernel.Height()),
                       KrTBuf1D<std::int32_t>(kernel.Width() * kernel.Height()), scale};
    std::copy_n(kernel.Row(0), window.weights.Size(), window.weights.Data());
    return window;
}

BlockWindow RankBlock(WindowKind kind, const KrTSize<std::uint32_t>& size, std::size_t width, std::size_t height) {
    const auto cut = [](std::uint32_t taps, std::size_t extent) {
        return std::min(taps, static_cast<std::uint32_t>(2 * extent + 256 + (taps & 1)));
    };
    return {kind, cut(size.cx, width), cut(size.cy, height), KrTBuf1D<std::int32_t>(), 1.0};
}

KrTBuf2D<std::uint8_t> FitMask(const KrTBuf2D<std::uint8_t>& mask, std::size_t width, std::size_t height) {
    KrTBuf2D<std::uint8_t> fitted(width, height);
    for (std::size_t y = 0; y < height; ++y)
        for (std::size_t x = 0; x < width; ++x)
            fitted(x, y) = mask(std::min(x, mask.Width() - 1), std::min(y, mask.Height() - 1));
    return fitted;
}

template <class T>
void FilterBlock(const BlockWindow& window, Image<T>& image, Mask mask) {
    const std::size_t width = image.Width(), height = image.Height();
    if (width == 0 || height == 0 || window.kx == 0 || window.ky == 0) return;
    const std::size_t kx = window.kx, left = kx / 2, right = kx - 1 - left, above = window.ky / 2;
    const PaddedRows<T> padded(image, left, right);
    std::vector<const T*> taps(kx * window.ky);
    if (!mask) {
        const LineWindow line = AsLine(window, taps.size());
        for (std::size_t y = 0; y < height; ++y) {
            padded.Point(y, above, kx, taps);
            RunWindow(line, image.Row(y), taps.data(), width);
        }
        return;
    }
    const PaddedRows<std::uint8_t> paddedMask(*mask, left, right);
    std::vector<const std::uint8_t*> masks(taps.size());
    std::vector<T> pixels(width);
    for (std::size_t y = 0; y < height; ++y) {
        padded.Point(y, above, kx, taps);
        paddedMask.Point(y, above, kx, masks);
        std::copy_n(image.Row(y), width, pixels.data());
        RunMasked<T>(window, image.Row(y), {taps.data(), masks.data(), taps.size(), pixels.data(), mask->Row(y)},
                     width);
    }
}

namespace {

// One pass along rows: left = window.left columns are padded, or one along columns.
template <class T>
void FilterLines(const LineWindow& window, bool columns, Image<T>& image, Mask mask) {
    const std::size_t width = image.Width(), height = image.Height();
    const std::size_t left = columns ? 0 : window.left, right = columns ? 0 : PaddingOf(window) - left;
    const PaddedRows<T> padded(image, left, right);
    std::vector<const T*> taps(window.taps);
    std::vector<const std::uint8_t*> masks(window.taps);
    std::vector<std::uint8_t> paddedMask(left + width + right);
    std::vector<T> pixels(width);
    const std::size_t kx = columns ? 1 : window.taps, above = columns ? window.left : 0;
    if (window.kind != WindowKind::eWeighted) mask = nullptr;
    for (std::size_t y = 0; y < height; ++y) {
        padded.Point(y, above, kx, taps);
        if (!mask) {
            RunWindow(window, image.Row(y), taps.data(), width);
            continue;
        }
        if (columns) {
            // Rows above the image count with the mask of the last row.
            for (std::size_t k = 0; k < masks.size(); ++k)
                masks[k] = mask->Row(y + k < above ? height - 1 : std::min(y + k - above, height - 1));
        } else {
            std::copy_n(mask->Row(y), width, paddedMask.data() + left);
            WrapMask(paddedMask.data(), width, left, right);
            PointTaps<std::uint8_t>(paddedMask.data(), masks);
        }
        std::copy_n(image.Row(y), width, pixels.data());
        const rows::MaskedTaps<T> in{taps.data(), masks.data(), window.taps, pixels.data(), mask->Row(y)};
        std::get<rows::MaskedWeightedRow<T>>(rows::GetFilterRows().maskedWeighted)(image.Row(y), in,
                                                                                   window.weights.Data(), false, width);
    }
}

}  // namespace

template <class T>
void FilterRowsThenColumns(const LineWindow& rows, const LineWindow& columns, Image<T>& image, Mask mask) {
    if (image.Width() == 0 || image.Height() == 0) return;
    if (rows.taps > 0) FilterLines(rows, false, image, mask);
    if (columns.taps > 0) FilterLines(columns, true, image, mask);
}

namespace {

// One line of the samples step * i; `copy` holds them unchanged, one after the other.
template <class T>
void FillLine(const EdgeFill<T>& fill, std::uint32_t reach, const T* copy, T* line, std::size_t step,
              std::size_t count) {
    const auto ground = [&](std::size_t i) { return (copy[i] >= fill.foreground) != fill.outwards; };
    std::size_t left = 0;
    for (std::size_t i = 1; i < count; ++i) {
        left = !ground(i - 1) && ground(i) ? reach : left - (left > 0);
        if (left > 0) line[i * step] = fill.value;
    }
    left = 0;
    for (std::size_t i = count - 1; i-- > 0;) {
        left = !ground(i + 1) && ground(i) ? reach : left - (left > 0);
        if (left > 0) line[i * step] = fill.value;
    }
}

}  // namespace

template <class T>
void FillEdges(const EdgeFill<T>& fill, std::uint32_t reachX, std::uint32_t reachY, Image<T>& image) {
    const std::size_t width = image.Width(), height = image.Height();
    if (width == 0 || height == 0) return;
    std::vector<T> copy(std::max(width, height));
    for (std::size_t y = 0; y < height; ++y) {
        std::copy_n(image.Row(y), width, copy.data());
        FillLine(fill, reachX, copy.data(), image.Row(y), 1, width);
    }
    for (std::size_t x = 0; x < width; ++x) {
        for (std::size_t y = 0; y < height; ++y) copy[y] = image(x, y);
        FillLine(fill, reachY, copy.data(), image.Row(0) + x, width, height);
    }
}

#define VORIP_INSTANTIATE(T)                                                                     \
  template void FilterBlock<T>(const BlockWindow&, Image<T>&, Mask);                             \
  template void FilterRowsThenColumns<T>(const LineWindow&, const LineWindow&, Image<T>&, Mask); \
  template void FillEdges<T>(const EdgeFill<T>&, std::uint32_t, std::uint32_t, Image<T>&)
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
