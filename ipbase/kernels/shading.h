#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// Two neighbouring samples of a row to be stretched, the left one in the lower 16 bits.
using SamplePair = std::uint32_t;

// Values between the samples, `step` / 256 samples apart from 0 on: with the position p = x * step and f = p mod 256,
// dst[x] = (left * (255 - f) + right * f) / 256 of pair p / 256.
template <class T>
using StretchRow = void (*)(T* dst, const SamplePair* pairs, std::uint32_t step, std::size_t count);

// dst[i] = (a[i] * (255 - f) + b[i] * f) / 256
template <class T>
using BlendPairRow = void (*)(T* dst, const T* a, const T* b, std::uint32_t f, std::size_t count);

// a / b
struct Quotient {
    std::uint32_t a = 0, b = 1;
};
// Replaces `most` by the greatest a[i] / b[i] that is greater; those with b[i] = 0 do not count.
template <class T>
using GreatestQuotientRow = void (*)(const T* a, const T* b, std::size_t count, Quotient& most);

// dst[i] = trunc(scale * (a[i] / b[i]) + 0.5), 0 where b[i] = 0
template <class T>
using DivideRow = void (*)(T* dst, const T* a, const T* b, double scale, std::size_t count);

struct ShadeCorrKernels {
    std::tuple<StretchRow<u8>, StretchRow<u16>> stretch;
    std::tuple<BlendPairRow<u8>, BlendPairRow<u16>> blend;
    std::tuple<GreatestQuotientRow<u8>, GreatestQuotientRow<u16>> greatest;
    std::tuple<DivideRow<u8>, DivideRow<u16>> divide;
};

const ShadeCorrKernels& GetShadeCorrKernels();

}  // namespace KrN::kernels
