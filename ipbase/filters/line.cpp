#include "ipbase/filters/line.h"

namespace KrN {

template <class T>
AlongRow<T>::AlongRow(const LineWindow& window, std::size_t width)
    : mWindow(CutToLine(window, width)), mWidth(width), mPadded(width + PaddingOf(mWindow)), mTaps(mWindow.taps) {
    PointTaps(static_cast<const T*>(mPadded.data()), mTaps);
    InBestWay<T>(mWindow, [this](auto way) {
        if (!std::is_same_v<decltype(way), Doubling>) return;
        mOdd.resize(mPadded.size());
        mEven.resize(mPadded.size());
    });
}

template <class T>
void AlongRow<T>::Run(const T* row, T* out) {
    PadLine(row, mWidth, mWindow.left, PaddingOf(mWindow) - mWindow.left, mPadded.data());
    InBestWay<T>(mWindow, [=](auto way) { Filter(way, out); });
}

template <class T>
void AlongRow<T>::Filter(TapByTap, T* out) {
    RunWindow(mWindow, out, mTaps.data(), mWidth);
}

template <class T>
void AlongRow<T>::Filter(Doubling, T* out) {
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

// Differences of prefix sums, which may wrap: what counts is the difference.
template <class T>
template <class S>
void AlongRow<T>::Filter(RunningSum<S>, T* out) {
    const auto& mean = std::get<kernels::MeanRows<T, S>>(kernels::GetWindowKernels().mean);
    if (mWindow.taps <= kFewSummands) return mean.taps(out, mTaps.data(), mWindow.taps, mWindow.rounding, mWidth);
    auto& prefix = std::get<std::vector<S>>(mPrefixSums);
    prefix.resize(mPadded.size() + 1);
    S sum = 0;
    for (std::size_t i = 0; i < mPadded.size(); ++i) {
        sum = static_cast<S>(sum + mPadded[i]);
        prefix[i + 1] = sum;
    }
    mean.differences(out, prefix.data(), mWindow.taps, mWindow.rounding, mWidth);
}

template class AlongRow<std::uint8_t>;
template class AlongRow<std::uint16_t>;
template class AlongRow<std::int32_t>;
template class AlongRow<float>;

}  // namespace KrN
