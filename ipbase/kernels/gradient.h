#pragma once

#include <algorithm>

#include "ipbase/kernels/scale.h"

namespace KrN::kernels {

using i8 = std::int8_t;
using i16 = std::int16_t;

// Where the sums of n successive values of a row are wanted: `count` of them, the i-th over values[i ... i + n - 1].
// Sums that round slide from the left or from the right, which rounding tells apart: the value that drops out is
// subtracted, then the new one added.
struct Windows {
    std::size_t n;
    std::size_t count;
    bool fromRight;
};

// Of several rows at once, for a sum waits for the one before it in its row. Strides are in elements. Rows of integers
// have room for as many sums as there are values, and kBlock elements more, which may be read and written.
template <class T, class S>
using WindowRow = void (*)(const T* values, std::size_t stride, S* sums, std::size_t sumStride, std::size_t rows,
                           Windows windows);

// Loops over a multiple of this many bytes leave no remainder on any target.
inline constexpr std::size_t kBlock = 64;

inline constexpr std::size_t kWindowRows = 4;  // rows that are best handed over at once

// sums[i] += enter[i], and sums[i] = (sums[i] - leave[i]) + enter[i]
template <class T, class S>
using EnterRow = void (*)(S* sums, const T* enter, std::size_t count);
template <class T, class S>
using SlideRow = void (*)(S* sums, const T* leave, const T* enter, std::size_t count);

// dst[i] = signA * a[i] + signB * b[i]; the signs are 1 or -1
template <class S>
using SignedSumRow = void (*)(S* dst, const S* a, const S* b, S signA, S signB, std::size_t count);

// Phases of bytes at the ends of what is summed: the sum of wrapped steps from one pixel to another is the difference
// of their phases plus 256 times the periods that the steps between them leave out.
struct Ends {
    const u8 *left, *right, *top, *bottom;
};
template <class C>
struct Periods {
    const C *along, *down;
    int signAlong, signDown;
};
// dst[i] = right - left + bottom - top + 256 * (signAlong * along + signDown * down), the signs being 1 or -1. False
// when along or down there are more periods somewhere than 16 bits have room for; 32 bits have room for all.
template <class C, class S>
using PhaseSumRow = bool (*)(S* dst, const Ends& ends, const Periods<C>& periods, std::size_t count);

// Twice 30 periods and two phase differences are at most 60 * 256 + 510 = 15870: gradients lie within 31740 of 0, no
// two of them being more than 63480 apart, which is less than their stretch in 16 bits needs.
inline constexpr int kMostPeriods = 30;      // along or down, that sums in 16 bits have room for
inline constexpr int kNarrowBaseline = 252;  // up to which the periods along or down fit in 8 bits

// dst[i] = kNoGradient + a[i] - b[i]; widens the extremes.
template <class S>
inline constexpr S kNoGradient = std::is_same_v<S, u16> ? 32768 : 0;
template <class S>
using GradientRow = void (*)(S* dst, const S* a, const S* b, std::size_t count, Extremes<S>& extremes);

// What stretches gradients over 0 ... 255: trunc(v * 255 / range) with v = gradient - least, all 0 where there is but
// one. The quotient is approximated from below by less than 1; v * 255 - quotient * range >= range tells that it is too
// small.
template <class S>
struct Stretched;

// In 16 bits: with R = range * power in 2^15 ... 2^16 - 1, factor falls short of 2^23 * 255 / R by less than 1, and
// v * power * factor / 2^23 therefore of v * 255 / range by less than R / 2^23. The remainder is less than
// range * (1 + R / 2^23), which is below 2^16 while range <= 65027.
template <>
struct Stretched<u16> {
    u16 least, range, power = 1, factor;
    explicit Stretched(const Extremes<u16>& e)
        : least(e.least), range(static_cast<u16>(std::max(e.greatest - e.least, 1))) {
        while (range * power < 32768) power = static_cast<u16>(2 * power);
        factor = static_cast<u16>((255U << 23) / static_cast<unsigned>(range * power));
    }
};

// In 32 bits, for ranges below 2^24: the factor is too small by 2^-24 to 2^-21 of itself, more than rounding adds.
template <>
struct Stretched<i32> {
    i32 least, range;
    float factor;
    explicit Stretched(const Extremes<i32>& e)
        : least(e.least),
          range(std::max(e.greatest - e.least, 1)),
          factor(255.0f / static_cast<float>(range) * (1.0f - 0x1p-22f)) {}
};

struct GradientKernels {
    // From the first to the second source: the plain difference, or for bytes the period to be added so that the
    // difference lies in -128 ... 127.
    std::tuple<PairRow<i8, u8, u8>, PairRow<float, float, float>> steps;
    // The phase modulo 256 of its integer part.
    UnaryRow<u8, double> wrap;
    std::tuple<WindowRow<i8, i8>, WindowRow<i8, i16>, WindowRow<u8, float>, WindowRow<float, float>,
               WindowRow<double, double>>
        windows;
    std::tuple<EnterRow<i8, i8>, EnterRow<i8, i16>, EnterRow<u8, float>, EnterRow<float, float>,
               EnterRow<double, double>>
        enter;
    std::tuple<SlideRow<i8, i8>, SlideRow<i8, i16>, SlideRow<u8, float>, SlideRow<float, float>,
               SlideRow<double, double>>
        slide;
    std::tuple<SignedSumRow<float>, SignedSumRow<double>, PhaseSumRow<i8, u16>, PhaseSumRow<i16, i32>> sum;
    // a[i] - b[i], in 16 bits modulo 2^16
    std::tuple<PairRow<double, u16, u16>, PairRow<double, i32, i32>, PairRow<float, float, float>> difference;
    std::tuple<GradientRow<u16>, GradientRow<i32>> gradient;
    std::tuple<ConstantRow<u8, u16, Stretched<u16>>, ConstantRow<u8, i32, Stretched<i32>>> stretch;
};

const GradientKernels& GetGradientKernels();

}  // namespace KrN::kernels
