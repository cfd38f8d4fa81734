#pragma once

#include <algorithm>
#include <vector>

#include "ipbase/base/window.h"
#include "ipbase/kernels/window.h"

// A window on rows of pixels in memory.
namespace KrN {

// Copies `count` samples to padded + left, and the first and last one to both sides of them; padded has left + count +
// right elements.
template <class T>
void PadLine(const T* line, std::size_t count, std::size_t left, std::size_t right, T* padded) {
    std::copy_n(line, count, padded + left);
    std::fill_n(padded, left, line[0]);
    std::fill_n(padded + left + count, right, line[count - 1]);
}

// The mask beyond the ends of a line of `count` values at mask + left: on both sides that of the last sample.
inline void WrapMask(std::uint8_t* mask, std::size_t count, std::size_t left, std::size_t right) {
    const std::uint8_t last = mask[left + count - 1];
    std::fill_n(mask, left, last);
    std::fill_n(mask + left + count, right, last);
}

// One row from the rows of its window samples. Windows without taps have no result; medians are computed otherwise.
template <class T>
void RunWindow(const LineWindow& window, T* dst, const T* const* taps, std::size_t count) {
    const kernels::WindowKernels& table = kernels::GetWindowKernels();
    using Tap = kernels::TapRow<T>;
    switch (window.kind) {
        case WindowKind::eMean:
        case WindowKind::eWeighted:
            return std::get<kernels::WeightedRow<T>>(table.weighted)(dst, taps, window.weights.Data(), window.taps,
                                                                     window.rounding, count);
        case WindowKind::eMedian: return;
        case WindowKind::eMinimum: return std::get<Tap>(table.minimum)(dst, taps, window.taps, count);
        case WindowKind::eMaximum: return std::get<Tap>(table.maximum)(dst, taps, window.taps, count);
    }
}

// The row function of a window of extremes.
template <class T>
kernels::TapRow<T> ExtremeOf(const LineWindow& window) {
    const kernels::WindowKernels& table = kernels::GetWindowKernels();
    return std::get<kernels::TapRow<T>>(window.kind == WindowKind::eMinimum ? table.minimum : table.maximum);
}

// The rows of the window samples along a padded line.
template <class T>
void PointTaps(const T* padded, std::vector<const T*>& taps) {
    for (std::size_t k = 0; k < taps.size(); ++k) taps[k] = padded + k;
}

// Sums of up to so many rows are formed for each window; those of more slide.
inline constexpr std::uint32_t kFewSummands = 16;

// How a window of samples of one type is computed along rows and columns.
enum class WindowPath {
    eTaps,     // all samples of the window for each pixel
    eDoubled,  // extremes of 2, 4, 8, ... samples, each from two of the previous ones; two of them cover the window
    eNarrow,   // means of running sums in 16 bits,
    eInteger,  // in 32 bits,
    eDouble    // and in doubles
};
template <class T>
WindowPath PathOf(const LineWindow& window);

// A filter along rows of one width. It holds the buffers.
template <class T>
class AlongRow {
public:
    AlongRow(const LineWindow& window, std::size_t width);
    // `out` may be the row.
    void Run(const T* row, T* out);

private:
    void RunDoubled(T* out);
    template <class S>
    void RunMean(T* out, std::vector<S>& prefix);

    LineWindow mWindow;
    std::size_t mWidth;
    WindowPath mPath;
    std::vector<T> mPadded, mOdd, mEven;
    std::vector<const T*> mTaps;
    std::vector<std::uint16_t> mShorts;
    std::vector<std::uint32_t> mSums;
    std::vector<double> mDoubles;
};

}  // namespace KrN
