#include "Core/vorTools/Inc/syfilt2d.h"
#include "ipbase/filters/binary.h"
#include "ipbase/filters/masked.h"
#include "ipbase/filters/median.h"

namespace KrN {

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
const T* const* KrTFilter1D<T>::PrepareTaps(const KrTBuf1D<T>& line) {
    PrepareLine(line);
    mWork.taps.resize(mKernelWidth);
    PointTaps<T>(mLine.Data(), mWork.taps);
    return mWork.taps.data();
}

template <class T>
void KrTFilter1D<T>::Filter(KrTBuf1D<T>& line) {
    if (mKernelWidth == 0 || line.Size() == 0) return;
    const T* const* taps = PrepareTaps(line);
    std::get<kernels::WeightedRow<T>>(kernels::GetWindowKernels().weighted)(
        line.Data(), taps, mKernel.Data(), mKernelWidth, Rounding{mScale}, line.Size());
}

template <class T>
void KrTFilter1D<T>::FilterMasked(KrTBuf1D<T>& line, const KrTBuf1D<std::uint8_t>& mask, bool useMask) {
    if (!useMask || mask.Size() == 0) return Filter(line);
    const std::size_t count = line.Size();
    if (mKernelWidth == 0 || count == 0) return;
    mWork.line.resize(count);
    PadLine(mask.Data(), std::min(count, mask.Size()), 0, count - std::min(count, mask.Size()), mWork.line.data());
    kernels::GetMaskKernels().validate(mWork.line.data(), mWork.line.data(), count);
    mWork.filtered.resize(count);
    MaskedLine<T>(mKernel, count, mWork).Run(line.Data(), mWork.line.data(), mWork.filtered.data());
    std::get<kernels::MaskedPixels<T>>(kernels::GetMaskKernels().pixels)
        .select(line.Data(), mWork.filtered.data(), line.Data(), mWork.line.data(), count);
}

template <class T>
KrTFilter1DGauss<T>::KrTFilter1DGauss(std::uint32_t taps) {
    const LineWindow window = GaussWindow(taps);
    this->SetKernel(window.weights);
    this->mDivisor = window.taps > 0 && window.taps < 33 ? std::uint32_t{1} << (window.taps - 1) : 0;
    this->mScale = window.rounding.scale;
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
#define VORIP_RANK_FILTER(Class, extreme)                                                                    \
  template <class T>                                                                                         \
  Class<T>::Class(std::uint32_t taps) {                                                                      \
    this->SetOnes(taps);                                                                                     \
  }                                                                                                          \
  template <class T>                                                                                         \
  Class<T>::~Class() = default;                                                                              \
  template <class T>                                                                                         \
  void Class<T>::Filter(KrTBuf1D<T>& line) {                                                                 \
    if (this->mKernelWidth == 0 || line.Size() == 0) return;                                                 \
    const T* const* taps = this->PrepareTaps(line);                                                          \
    std::get<kernels::TapRow<T>>(kernels::GetWindowKernels().extreme)(line.Data(), taps, this->mKernelWidth, \
                                                                      line.Size());                          \
  }
VORIP_RANK_FILTER(KrTFilter1DErosion, minimum)
VORIP_RANK_FILTER(KrTFilter1DDilatation, maximum)
#undef VORIP_RANK_FILTER

template <class T>
KrTFilter1DMedian<T>::KrTFilter1DMedian(std::uint32_t taps) {
    this->SetOnes(taps);
}
template <class T>
KrTFilter1DMedian<T>::~KrTFilter1DMedian() = default;
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
  void Class<T>::Filter(KrTBuf1D<T>& line) {                                                     \
    if (line.Size() == 0) return;                                                                \
    RowReader<T> reader(line.Data(), line.Size());                                               \
    RowWriter<T> writer(line.Data(), line.Size());                                               \
    FillEdges(FillOf(mForeground), this->mKernelWidth / 2, 0, {line.Size(), 1}, reader, writer); \
  }
VORIP_BINARY_FILTER(KrTFilterFastBinary1DErosion, ErosionFill)
VORIP_BINARY_FILTER(KrTFilterFastBinary1DDilatation, DilatationFill)
#undef VORIP_BINARY_FILTER

#define VORIP_INSTANTIATE(T)                      \
  template class KrTFilter1D<T>;                  \
  template class KrTFilter1DGauss<T>;             \
  template class KrTFilter1DMean<T>;              \
  template class KrTFilter1DMedian<T>;            \
  template class KrTFilter1DErosion<T>;           \
  template class KrTFilter1DDilatation<T>;        \
  template class KrTFilterFastBinary1DErosion<T>; \
  template class KrTFilterFastBinary1DDilatation<T>
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE
template class KrTFilter1D<std::uint32_t>;
template class KrTFilter1DMedian<std::uint32_t>;

}  // namespace KrN
