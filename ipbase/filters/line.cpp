#include "ipbase/filters/line.h"

namespace KrN {

namespace {

constexpr std::uint32_t kFewTaps = 9;  // extremes: up to here it is faster to look at all samples

}  // namespace

template <class T>
WindowPath PathOf(const LineWindow& window) {
    switch (window.kind) {
        case WindowKind::eMinimum:
        case WindowKind::eMaximum: return window.taps <= kFewTaps ? WindowPath::eTaps : WindowPath::eDoubled;
        case WindowKind::eMean:
            if (sizeof(T) == 1 && window.rounding.factor != 0) return WindowPath::eNarrow;
            if (sizeof(T) == 2 && window.rounding.scale == 1.0 / window.taps && window.taps < 32768)
                return WindowPath::eInteger;
            return std::is_integral_v<T> ? WindowPath::eDouble : WindowPath::eTaps;
        default: return WindowPath::eTaps;
    }
}

template <class T>
AlongRow<T>::AlongRow(const LineWindow& window, std::size_t width)
    : mWindow(CutToLine(window, width)),
      mWidth(width),
      mPath(PathOf<T>(mWindow)),
      mPadded(width + PaddingOf(mWindow)),
      mTaps(mWindow.taps) {
    PointTaps(static_cast<const T*>(mPadded.data()), mTaps);
    if (mPath == WindowPath::eDoubled) {
        mOdd.resize(mPadded.size());
        mEven.resize(mPadded.size());
    }
}

template <class T>
void AlongRow<T>::RunDoubled(T* out) {
    const auto extreme = ExtremeOf<T>(mWindow);
    const T* from = mPadded.data();
    std::size_t count = mPadded.size(), reach = 1;
    for (; 2 * reach <= mWindow.taps; reach *= 2) {
        T* to = from == mOdd.data() ? mEven.data() : mOdd.data();
        const T* const taps[] = {from, from + reach};
        count -= reach;
        extreme(to, taps, 2, count);
        from = to;
    }
    const T* const taps[] = {from, from + (mWindow.taps - reach)};
    extreme(out, taps, 2, mWidth);
}

template <class T>
template <class S>
void AlongRow<T>::RunMean(T* out, std::vector<S>& prefix) {
    const auto& mean = std::get<kernels::MeanRows<T, S>>(kernels::GetWindowKernels().mean);
    if (mWindow.taps <= kFewSummands) return mean.taps(out, mTaps.data(), mWindow.taps, mWindow.rounding, mWidth);
    prefix.resize(mPadded.size() + 1);
    S sum = 0;
    for (std::size_t i = 0; i < mPadded.size(); ++i) {
        sum = static_cast<S>(sum + mPadded[i]);
        prefix[i + 1] = sum;
    }
    mean.differences(out, prefix.data(), mWindow.taps, mWindow.rounding, mWidth);
}

template <class T>
void AlongRow<T>::Run(const T* row, T* out) {
    PadLine(row, mWidth, mWindow.left, PaddingOf(mWindow) - mWindow.left, mPadded.data());
    switch (mPath) {
        case WindowPath::eDoubled: return RunDoubled(out);
        case WindowPath::eNarrow:
            if constexpr (std::is_same_v<T, std::uint8_t>) RunMean(out, mShorts);
            return;
        case WindowPath::eInteger:
            if constexpr (std::is_same_v<T, std::uint16_t>) RunMean(out, mSums);
            return;
        case WindowPath::eDouble:
            if constexpr (!std::is_same_v<T, float>) RunMean(out, mDoubles);
            return;
        case WindowPath::eTaps: return RunWindow(mWindow, out, mTaps.data(), mWidth);
    }
}

#define VORIP_INSTANTIATE(T)                        \
  template WindowPath PathOf<T>(const LineWindow&); \
  template class AlongRow<T>
VORIP_INSTANTIATE(std::uint8_t);
VORIP_INSTANTIATE(std::uint16_t);
VORIP_INSTANTIATE(std::int32_t);
VORIP_INSTANTIATE(float);
#undef VORIP_INSTANTIATE

}  // namespace KrN
