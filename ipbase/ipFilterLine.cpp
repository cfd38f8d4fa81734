#include "ipbase/ipFilterLine.h"
#include "Core/vorTools/Inc/syfilt2d.h"
#include "ipbase/ipFilterBlock.h"
#include "ipbase/ipFilterMasked.h"
#include "ipbase/ipFilterMedian.h"

namespace KrN {

namespace {

// The window of K samples on a line that PrepareLine has padded.
template <class T>
void RunOnLine(const LineWindow& window, const KrTBuf1D<T>& padded, KrTBuf1D<T>& line) {
    std::vector<const T*> taps(window.taps);
    PointTaps(padded.Data(), taps);
    RunWindow(window, line.Data(), taps.data(), line.Size());
}

}  // namespace

template <class T>
KrTFilter1D<T>::KrTFilter1D() = default;
template <class T>
KrTFilter1D<T>::KrTFilter1D(const KrTFilter1D&) = default;
template <class T>
KrTFilter1D<T>& KrTFilter1D<T>::operator=(const KrTFilter1D&) = default;
template <class T>
KrTFilter1D<T>::~KrTFilter1D() = default;

template <class T>
KrTFilter1D<T>::KrTFilter1D(const KrTBuf1D<std::int32_t>& kernel, std::int32_t divisor) {
    KrTFilter1D::SetKernel(kernel);
    KrTFilter1D::SetDivisor(divisor);
}

template <class T>
void KrTFilter1D<T>::SetKernel(const KrTBuf1D<std::int32_t>& kernel) {
    mKernel = kernel;
    mKernelWidth = static_cast<std::uint32_t>(kernel.Size());
    mInvWidth = 1.0 / mKernelWidth;
    mReady = 1;
}

template <class T>
void KrTFilter1D<T>::SetDivisor(std::int32_t divisor) {
    mDivisor = static_cast<std::uint32_t>(divisor);
    mScale = 1.0 / divisor;
}

template <class T>
void KrTFilter1D<T>::SetOnes(std::uint32_t taps) {
    SetKernel(MeanWindow(taps).weights);
}

template <class T>
std::uint32_t KrTFilter1D<T>::PrepareLine(const KrTBuf1D<T>& line) {
    const std::size_t count = line.Size(), half = mKernelWidth / 2;
    if (mLine.Size() < 2 * half + count) mLine.Resize(2 * half + count);
    if (count > 0) PadLine(line.Data(), count, half, half, mLine.Data());
    return mKernelWidth / 2;
}

template <class T>
void KrTFilter1D<T>::Filter(KrTBuf1D<T>& line) {
    if (mKernelWidth == 0 || line.Size() == 0) return;
    PrepareLine(line);
    RunOnLine(KernelWindow(mKernel, mScale), mLine, line);
}

template <class T>
void KrTFilter1D<T>::FilterMasked(KrTBuf1D<T>& line, const KrTBuf1D<std::uint8_t>& mask, bool useMask) {
    if (!useMask || mask.Size() == 0) return Filter(line);
    const std::size_t count = line.Size();
    if (mKernelWidth == 0 || count == 0) return;
    KrTBuf1D<std::uint8_t> fitted(count);
    for (std::size_t i = 0; i < count; ++i) fitted[i] = mask[std::min(i, mask.Size() - 1)];
    rows::GetMaskRows().validate(fitted.Data(), fitted.Data(), count);
    std::vector<T> out(count);
    MaskedLine<T>(mKernel, count).Run(line.Data(), fitted.Data(), out.data());
    std::get<rows::MaskedPixels<T>>(rows::GetMaskRows().pixels)
        .select(line.Data(), out.data(), line.Data(), fitted.Data(), count);
}

template <class T>
KrTFilter1DGauss<T>::KrTFilter1DGauss(std::uint32_t taps) {
    const LineWindow window = GaussWindow(taps);
    this->SetKernel(window.weights);
    this->mDivisor = window.taps > 0 && window.taps < 33 ? std::uint32_t{1} << (window.taps - 1) : 0;
    this->mScale = window.scale;
}
template <class T>
KrTFilter1DGauss<T>::~KrTFilter1DGauss() = default;

template <class T>
KrTFilter1DMean<T>::KrTFilter1DMean(std::uint32_t taps) {
    this->SetOnes(taps);
    this->mDivisor = this->mKernelWidth;
    this->mScale = this->mInvWidth;
}
template <class T>
KrTFilter1DMean<T>::~KrTFilter1DMean() = default;

// The kinds that pick one of the window samples.
#define VORIP_RANK_FILTER(Class, kind)                                                  \
  template <class T>                                                                    \
  Class<T>::Class(std::uint32_t taps) {                                                 \
    this->SetOnes(taps);                                                                \
  }                                                                                     \
  template <class T>                                                                    \
  Class<T>::~Class() = default;                                                         \
  template <class T>                                                                    \
  void Class<T>::FilterMasked(KrTBuf1D<T>& line, const KrTBuf1D<std::uint8_t>&, bool) { \
    Filter(line);                                                                       \
  }                                                                                     \
  template <class T>                                                                    \
  void Class<T>::Filter(KrTBuf1D<T>& line) {                                            \
    if (this->mKernelWidth == 0 || line.Size() == 0) return;                            \
    this->PrepareLine(line);                                                            \
    RunOnLine(RankWindow(kind, this->mKernelWidth), this->mLine, line);                 \
  }
VORIP_RANK_FILTER(KrTFilter1DErosion, WindowKind::eMinimum)
VORIP_RANK_FILTER(KrTFilter1DDilatation, WindowKind::eMaximum)
#undef VORIP_RANK_FILTER

template <class T>
KrTFilter1DMedian<T>::KrTFilter1DMedian(std::uint32_t taps) {
    this->SetOnes(taps);
}
template <class T>
KrTFilter1DMedian<T>::~KrTFilter1DMedian() = default;
template <class T>
void KrTFilter1DMedian<T>::FilterMasked(KrTBuf1D<T>& line, const KrTBuf1D<std::uint8_t>&, bool) {
    Filter(line);
}
template <class T>
void KrTFilter1DMedian<T>::Filter(KrTBuf1D<T>& line) {
    if (this->mKernelWidth == 0 || line.Size() == 0) return;
    const auto run = [&](auto* samples) {
        RowReader reader(samples, line.Size());
        RowWriter writer(samples, line.Size());
        FilterMedian(RankBlock(WindowKind::eMedian, {this->mKernelWidth, 1}), {line.Size(), 1}, reader, writer,
                     nullptr);
    };
    if constexpr (std::is_same_v<T, std::uint32_t>) {
        std::vector<std::int32_t> moved(line.Size());  // by half the range, which keeps the order
        for (std::size_t i = 0; i < moved.size(); ++i) moved[i] = static_cast<std::int32_t>(line[i] ^ 0x80000000u);
        run(moved.data());
        for (std::size_t i = 0; i < moved.size(); ++i) line[i] = static_cast<std::uint32_t>(moved[i]) ^ 0x80000000u;
    } else {
        run(line.Data());
    }
}

// Binary filters.
#define VORIP_BINARY_FILTER(Class, FillOf)                                                       \
  template <class T>                                                                             \
  Class<T>::Class(std::uint32_t taps) : Class(taps, BinaryForeground<T>()) {}                    \
  template <class T>                                                                             \
  Class<T>::Class(std::uint32_t taps, T foreground) : mForeground(foreground) {                  \
    this->SetOnes(taps);                                                                         \
  }                                                                                              \
  template <class T>                                                                             \
  Class<T>::~Class() = default;                                                                  \
  template <class T>                                                                             \
  void Class<T>::FilterMasked(KrTBuf1D<T>& line, const KrTBuf1D<std::uint8_t>&, bool) {          \
    Filter(line);                                                                                \
  }                                                                                              \
  template <class T>                                                                             \
  void Class<T>::Filter(KrTBuf1D<T>& line) {                                                     \
    if (line.Size() == 0) return;                                                                \
    RowReader<T> reader(line.Data(), line.Size());                                               \
    RowWriter<T> writer(line.Data(), line.Size());                                               \
    FillEdges(FillOf(mForeground), this->mKernelWidth / 2, 0, {line.Size(), 1}, reader, writer); \
  }
VORIP_BINARY_FILTER(KrTFilterFastBinary1DErosion, ErosionFill)
VORIP_BINARY_FILTER(KrTFilterFastBinary1DDilatation, DilatationFill)
#undef VORIP_BINARY_FILTER

VORIP_FILTERS_OF_ALL_TYPES(VORIP_LINE_FILTERS, template);
template class KrTFilter1D<std::uint32_t>;
template class KrTFilter1DMedian<std::uint32_t>;

}  // namespace KrN
