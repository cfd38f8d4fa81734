#include <algorithm>
#include <vector>

#include "Core/vorTools/Inc/syfilt2d.h"
#include "ipbase/filters/line.h"
#include "ipbase/filters/sizes.h"
#include "ipbase/kernels/mask.h"

namespace KrN {

namespace {

bool IsUsed(const KrTBuf2D<std::uint8_t>& mask, bool useMask) {
    return useMask && mask.Width() > 0 && mask.Height() > 0;
}

KrTBuf2D<std::uint8_t> Validated(const KrTBuf2D<std::uint8_t>& mask) {
    KrTBuf2D<std::uint8_t> valid(mask.Width(), mask.Height());
    kernels::GetMaskKernels().validate(valid.Row(0), mask.Row(0), mask.Width() * mask.Height());
    return valid;
}

template <class T, class F>
void OnImage(KrTBuf2D<T>& image, const F& filter) {
    RowReader<T> reader(image);
    RowWriter<T> writer(image);
    filter(Extent{image.Width(), image.Height()}, reader, writer);
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
    if (!IsUsed(mask, useMask)) return Filter(image);
    const KrTBuf2D<std::uint8_t> valid = Validated(mask);
    OnImage(image, [&](Extent size, auto& reader, auto& writer) {
        FilterBlock(KernelBlock(mKernel, mScale), size, reader, writer, &valid);
    });
}

// Row r of the image, counted from the top of the window of the first output row, stands in row r % Ky.
template <class T>
void KrTFilter2D<T>::PrepareFirstRow(const KrTBuf2D<T>& image) {
    const std::size_t kx = mKernel.Width(), ky = mKernel.Height(), above = ky / 2;
    if (kx == 0 || ky == 0 || image.Width() == 0 || image.Height() == 0) return;
    mWorkRow = 0;
    mWork.Resize(image.Width() + kx - 1, ky);
    for (std::size_t r = 0; r < ky; ++r)
        LoadWorkRow(image, r - std::min(r, above), kx / 2, kx - 1 - kx / 2, mWork.Row(r));
}

template <class T>
void KrTFilter2D<T>::AdvanceRow(const KrTBuf2D<T>& image) {
    const std::size_t kx = mKernel.Width(), ky = mKernel.Height(), above = ky / 2;
    if (kx == 0 || ky == 0 || image.Width() == 0 || image.Height() == 0) return;
    if (mWork.Height() != ky || mWork.Width() != image.Width() + kx - 1) return PrepareFirstRow(image);
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

#define VORIP_SIZE_FILTER(Class, filter)                                                                          \
  template <class T>                                                                                              \
  Class<T>::Class(const KrTSize<std::uint32_t>& size) : mSize(size) {                                             \
    this->mReady = 1;                                                                                             \
  }                                                                                                               \
  template <class T>                                                                                              \
  Class<T>::~Class() = default;                                                                                   \
  template <class T>                                                                                              \
  void Class<T>::Filter(KrTBuf2D<T>& image, const KrTBuf2D<std::uint8_t>& mask, bool useMask) {                   \
    if (!IsUsed(mask, useMask)) return Filter(image);                                                             \
    const KrTBuf2D<std::uint8_t> valid = Validated(mask);                                                         \
    OnImage(image,                                                                                                \
            [&](Extent size, auto& reader, auto& writer) { filter::Run(mSize, size, reader, writer, &valid); });  \
  }                                                                                                               \
  template <class T>                                                                                              \
  void Class<T>::Filter(KrTBuf2D<T>& image) {                                                                     \
    OnImage(image,                                                                                                \
            [&](Extent size, auto& reader, auto& writer) { filter::Run(mSize, size, reader, writer, nullptr); }); \
  }
VORIP_SIZE_FILTER(KrTFilter2DGauss, GaussFilter)
VORIP_SIZE_FILTER(KrTFilter2DMeanSepXY, MeanFilter)
VORIP_SIZE_FILTER(KrTFilter2DMedian, RankFilter<WindowKind::eMedian>)
VORIP_SIZE_FILTER(KrTFilter2DErosion, RankFilter<WindowKind::eMinimum>)
VORIP_SIZE_FILTER(KrTFilter2DDilatation, RankFilter<WindowKind::eMaximum>)
#undef VORIP_SIZE_FILTER

#define VORIP_BINARY_FILTER(Class, FillOf, filter)                                                           \
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
    filter::CheckMask(useMask);                                                                              \
    Filter(image);                                                                                           \
  }                                                                                                          \
  template <class T>                                                                                         \
  void Class<T>::Filter(KrTBuf2D<T>& image) {                                                                \
    OnImage(image, [&](Extent size, auto& reader, auto& writer) {                                            \
  FillEdges(FillOf(mForeground), mSize.cx / 2, mSize.cy / 2, size, reader, writer);                          \
    });                                                                                                      \
  }
VORIP_BINARY_FILTER(KrTFilterFastBinary2DErosion, ErosionFill, BinaryErosion)
VORIP_BINARY_FILTER(KrTFilterFastBinary2DDilatation, DilatationFill, BinaryDilatation)
#undef VORIP_BINARY_FILTER

#define VORIP_INSTANTIATE(T)                      \
  template class KrTFilter2D<T>;                  \
  template class KrTFilter2DGauss<T>;             \
  template class KrTFilter2DMeanSepXY<T>;         \
  template class KrTFilter2DMedian<T>;            \
  template class KrTFilter2DErosion<T>;           \
  template class KrTFilter2DDilatation<T>;        \
  template class KrTFilterFastBinary2DErosion<T>; \
  template class KrTFilterFastBinary2DDilatation<T>
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
