#pragma once

#include <algorithm>
#include <tuple>
#include <type_traits>
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

// The row function of a window of least or greatest values.
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
// Extremes of up to so many samples are found faster by looking at all of them.
inline constexpr std::uint32_t kFewExtremes = 9;

// The ways in which a window is computed along rows and columns; all give the same pixels.
struct TapByTap {};  // all samples of the window for each pixel
// Extremes of 2, 4, 8, ... samples, each from two of the previous ones; two of them cover the window. These are
// log2(taps) comparisons of whole vectors for each pixel. A running extreme needs only three, but one after the other.
struct Doubling {};
// Means from sums of type S that slide from pixel to pixel. They are exact, so that nothing accumulates.
template <class S>
struct RunningSum {};

// Calls `run` with the cheapest way for samples of type T.
template <class T, class F>
void InBestWay(const LineWindow& window, const F& run) {
    if (window.kind == WindowKind::eMinimum || window.kind == WindowKind::eMaximum)
        return window.taps <= kFewExtremes ? run(TapByTap()) : run(Doubling());
    if constexpr (std::is_integral_v<T>) {
        if (window.kind == WindowKind::eMean) {
            if constexpr (sizeof(T) == 1)
                if (window.rounding.factor != 0) return run(RunningSum<std::uint16_t>());
            if constexpr (sizeof(T) == 2)
                if (window.rounding.scale == 1.0 / window.taps && window.taps < 32768)
                    return run(RunningSum<std::uint32_t>());
            return run(RunningSum<double>());
        }
    }
    run(TapByTap());
}

// A filter along rows of one width. It holds the buffers, so that nothing is allocated from row to row.
template <class T>
class AlongRow {
public:
    AlongRow(const LineWindow& window, std::size_t width);
    // `out` may be the row.
    void Run(const T* row, T* out);

private:
    void Filter(TapByTap, T* out);
    void Filter(Doubling, T* out);
    template <class S>
    void Filter(RunningSum<S>, T* out);

    LineWindow mWindow;
    std::size_t mWidth;
    std::vector<T> mPadded, mOdd, mEven;
    std::vector<const T*> mTaps;
    std::tuple<std::vector<std::uint16_t>, std::vector<std::uint32_t>, std::vector<double>> mPrefixSums;
};

}  // namespace KrN
