#include <algorithm>
#include <vector>

#include "Core/vorTools/Inc/syfilt2d.h"
#include "imagemodel/krexception.h"
#include "ipbase/ipFilterBlock.h"
#include "ipbase/ipFilterLine.h"

namespace KrN {

namespace {

// Runs `filter(mask)` with the mask fitted to the image, or with null when none is to be used.
template <class T, class F>
void WithMask(const KrTBuf2D<T>& image, const KrTBuf2D<std::uint8_t>& mask, bool useMask, const F& filter) {
    if (!useMask || mask.Width() == 0 || mask.Height() == 0) return filter(nullptr);
    if (mask.Width() == image.Width() && mask.Height() == image.Height()) return filter(&mask);
    const KrTBuf2D<std::uint8_t> fitted = FitMask(mask, image.Width(), image.Height());
    filter(&fitted);
}

template <class T>
void LoadWorkRow(const KrTBuf2D<T>& image, std::size_t y, std::size_t left, std::size_t right, T* row) {
    PadLine(image.Row(std::min(y, image.Height() - 1)), image.Width(), left, right, row);
}

}  // namespace

template <class T>
KrTFilter2D<T>::KrTFilter2D() = default;
template <class T>
KrTFilter2D<T>::KrTFilter2D(const KrTFilter2D&) = default;
template <class T>
KrTFilter2D<T>& KrTFilter2D<T>::operator=(const KrTFilter2D&) = default;
template <class T>
KrTFilter2D<T>::~KrTFilter2D() = default;

template <class T>
KrTFilter2D<T>::KrTFilter2D(const KrTBuf2D<std::int32_t>& kernel, std::int32_t divisor)
    : mKernel(kernel), mScale(1.0 / divisor), mReady(1) {}

template <class T>
void KrTFilter2D<T>::Filter(KrTBuf2D<T>& image, const KrTBuf2D<std::uint8_t>& mask, bool useMask) {
    WithMask(image, mask, useMask, [&](Mask fitted) {
        if (fitted)
            FilterBlock(KernelBlock(mKernel, mScale), image, fitted);
        else
            Filter(image);
    });
}

// Row r of the image, counted from the top of the window of the first output row, stands in row r % Ky.
template <class T>
void KrTFilter2D<T>::PrepareFirstRow(const KrTBuf2D<T>& image) {
    const std::size_t kx = mKernel.Width(), ky = mKernel.Height(), above = ky / 2;
    mWorkRow = 0;
    mWork.Resize(image.Width() + kx - 1, ky);
    for (std::size_t r = 0; r < ky; ++r)
        LoadWorkRow(image, r - std::min(r, above), kx / 2, kx - 1 - kx / 2, mWork.Row(r));
}

template <class T>
void KrTFilter2D<T>::AdvanceRow(const KrTBuf2D<T>& image) {
    const std::size_t kx = mKernel.Width(), ky = mKernel.Height(), above = ky / 2;
    const std::size_t r = mWorkRow++ + ky;
    LoadWorkRow(image, r - std::min(r, above), kx / 2, kx - 1 - kx / 2, mWork.Row(r % ky));
}

template <class T>
void KrTFilter2D<T>::Filter(KrTBuf2D<T>& image) {
    const std::size_t kx = mKernel.Width(), ky = mKernel.Height();
    if (kx == 0 || ky == 0 || image.Width() == 0 || image.Height() == 0) return;
    const LineWindow window = KernelWindow(KernelBlock(mKernel, mScale).weights, mScale);
    std::vector<const T*> taps(kx * ky);
    PrepareFirstRow(image);
    for (std::size_t y = 0; y < image.Height(); ++y) {
        if (y > 0) AdvanceRow(image);
        for (std::size_t t = 0; t < taps.size(); ++t) taps[t] = mWork.Row((y + t / kx) % ky) + t % kx;
        RunWindow(window, image.Row(y), taps.data(), image.Width());
    }
}

namespace {

template <class T>
void FilterGauss(const KrTSize<std::uint32_t>& size, KrTBuf2D<T>& image, Mask mask) {
    FilterRowsThenColumns(GaussWindow(size.cx), GaussWindow(size.cy), image, mask);
}
template <class T>
void FilterMean(const KrTSize<std::uint32_t>& size, KrTBuf2D<T>& image, Mask mask) {
    FilterRowsThenColumns(MeanWindow(size.cx), MeanWindow(size.cy), image, mask);
}
template <WindowKind kind, class T>
void FilterRank(const KrTSize<std::uint32_t>& size, KrTBuf2D<T>& image, Mask mask) {
    FilterBlock(RankBlock(kind, size, image.Width(), image.Height()), image, mask);
}
template <WindowKind kind, class T>
void FilterExtreme(const KrTSize<std::uint32_t>& size, KrTBuf2D<T>& image, Mask mask) {
    if (mask) return FilterRank<kind>(size, image, mask);
    const BlockWindow window = RankBlock(kind, size, image.Width(), image.Height());
    FilterRowsThenColumns(RankWindow(kind, window.kx), RankWindow(kind, window.ky), image, nullptr);
}

}  // namespace

#define VORIP_SIZE_FILTER(Class, filter)                                                        \
  template <class T>                                                                            \
  Class<T>::Class(const KrTSize<std::uint32_t>& size) : mSize(size) {                           \
    this->mReady = 1;                                                                           \
  }                                                                                             \
  template <class T>                                                                            \
  Class<T>::~Class() = default;                                                                 \
  template <class T>                                                                            \
  void Class<T>::Filter(KrTBuf2D<T>& image, const KrTBuf2D<std::uint8_t>& mask, bool useMask) { \
    WithMask(image, mask, useMask, [&](Mask fitted) { filter(mSize, image, fitted); });         \
  }                                                                                             \
  template <class T>                                                                            \
  void Class<T>::Filter(KrTBuf2D<T>& image) {                                                   \
    filter(mSize, image, nullptr);                                                              \
  }
VORIP_SIZE_FILTER(KrTFilter2DGauss, FilterGauss)
VORIP_SIZE_FILTER(KrTFilter2DMeanSepXY, FilterMean)
VORIP_SIZE_FILTER(KrTFilter2DMedian, FilterRank<WindowKind::eMedian>)
VORIP_SIZE_FILTER(KrTFilter2DErosion, FilterExtreme<WindowKind::eMinimum>)
VORIP_SIZE_FILTER(KrTFilter2DDilatation, FilterExtreme<WindowKind::eMaximum>)
#undef VORIP_SIZE_FILTER

#define VORIP_BINARY_FILTER(Class, FillOf, line, message)                                                    \
  template <class T>                                                                                         \
  Class<T>::Class(const KrTSize<std::uint32_t>& size) : Class(size, BinaryForeground<T>()) {}                \
  template <class T>                                                                                         \
  Class<T>::Class(const KrTSize<std::uint32_t>& size, T foreground) : mSize(size), mForeground(foreground) { \
    this->mReady = 1;                                                                                        \
  }                                                                                                          \
  template <class T>                                                                                         \
  Class<T>::~Class() = default;                                                                              \
  template <class T>                                                                                         \
  void Class<T>::Filter(KrTBuf2D<T>& image, const KrTBuf2D<std::uint8_t>&, bool useMask) {                   \
    if (useMask) throw new KrNotImplementedException(L"Core\\vorTools\\Inc\\syfilt2d", line, message);       \
    Filter(image);                                                                                           \
  }                                                                                                          \
  template <class T>                                                                                         \
  void Class<T>::Filter(KrTBuf2D<T>& image) {                                                                \
    FillEdges(FillOf(mForeground), mSize.cx / 2, mSize.cy / 2, image);                                       \
  }
VORIP_BINARY_FILTER(KrTFilterFastBinary2DErosion, ErosionFill, 1028, L"KrTFilterFastBinary2DErosion with Mask")
VORIP_BINARY_FILTER(KrTFilterFastBinary2DDilatation, DilatationFill, 1218, L"KrTFilterFastBinary2DDilatation with Mask")
#undef VORIP_BINARY_FILTER

VORIP_FILTERS_OF_ALL_TYPES(VORIP_IMAGE_FILTERS, template);

}  // namespace KrN
