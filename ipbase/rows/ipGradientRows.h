#pragma once

#include "ipbase/rows/ipRowTypes.h"

namespace KrN::rows {

// Where the sums of n successive values of a row are wanted: `count` of them, the i-th over values[i ... i + n - 1].
// They slide from the left or from the right, which rounding tells apart: the value that drops out is subtracted, then
// the new one added.
struct Windows {
    std::size_t n;
    std::size_t count;
    bool fromRight;
};

// Of several rows at once, for a sum waits for the one before it in its row. Strides are in elements.
template <class T, class S>
using WindowRow = void (*)(const T* values, std::size_t stride, S* sums, std::size_t sumStride, std::size_t rows,
                           Windows windows);

inline constexpr std::size_t kWindowRows = 4;  // rows that are best handed over at once

// sums[i] += enter[i], and sums[i] = (sums[i] - leave[i]) + enter[i]
template <class T, class S>
using EnterRow = void (*)(S* sums, const T* enter, std::size_t count);
template <class T, class S>
using SlideRow = void (*)(S* sums, const T* leave, const T* enter, std::size_t count);

// dst[i] = signA * a[i] + signB * b[i]; the signs are 1 or -1
template <class S>
using SignedSumRow = void (*)(S* dst, const S* a, const S* b, S signA, S signB, std::size_t count);

struct GradientRows {
    // From the first to the second source: modulo 256 with 128 for an equal pair, or the plain difference.
    std::tuple<PairRow<u8, u8, u8>, PairRow<float, float, float>> steps;
    // The phase modulo 256 of its integer part.
    UnaryRow<u8, double> wrap;
    std::tuple<WindowRow<u8, float>, WindowRow<u8, double>, WindowRow<float, float>, WindowRow<double, double>> windows;
    std::tuple<EnterRow<u8, float>, EnterRow<u8, double>, EnterRow<float, float>, EnterRow<double, double>> enter;
    std::tuple<SlideRow<u8, float>, SlideRow<u8, double>, SlideRow<float, float>, SlideRow<double, double>> slide;
    std::tuple<SignedSumRow<float>, SignedSumRow<double>> signedSum;
};

const GradientRows& GetGradientRows();

}  // namespace KrN::rows
