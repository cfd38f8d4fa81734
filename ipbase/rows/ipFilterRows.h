#pragma once

#include "ipbase/rows/ipRowTypes.h"

namespace KrN::rows {

using u32 = std::uint32_t;

inline constexpr u8 kFirstInvalid = 64;

// A window filter of a whole row: taps[k] points to the row of the k-th window sample of every pixel, which is the row
// itself moved by k pixels for a filter along rows, another row for one along columns. No tap row overlaps `dst`.
template <class T>
using TapRow = void (*)(T* dst, const T* const* taps, std::size_t tapCount, std::size_t count);

// The rounded sum of the tap samples times their weights, times `scale`. Products of integers are formed modulo 2^32.
template <class T>
using WeightedRow = void (*)(T* dst, const T* const* taps, const i32* weights, std::size_t tapCount, double scale,
                             std::size_t count);

// The samples around the pixels of a row of which some are invalid: mask values from 64 on. Invalid pixels keep their
// value, which is that of `pixels`.
template <class T>
struct MaskedTaps {
    const T* const* taps;
    const u8* const* masks;  // of the taps
    std::size_t tapCount;
    const T* pixels;
    const u8* mask;
};
// The sum over valid samples divided by the sum of their weights; by 1, when `atLeastOne`, if that is less than 1. A
// sum of weights of 0 gives 0.
template <class T>
using MaskedWeightedRow = void (*)(T* dst, const MaskedTaps<T>& in, const i32* weights, bool atLeastOne,
                                   std::size_t count);
template <class T>
using MaskedTapRow = void (*)(T* dst, const MaskedTaps<T>& in, std::size_t count);

// pixel = rounded((1 - alpha) * pixel + alpha * neighbour)
template <class T>
using BlendRow = void (*)(T* pixels, const T* neighbours, double alpha, std::size_t count);

struct FilterRows {
    std::tuple<WeightedRow<u8>, WeightedRow<u16>, WeightedRow<i32>, WeightedRow<float>, WeightedRow<u32>> weighted;
    std::tuple<TapRow<u8>, TapRow<u16>, TapRow<i32>, TapRow<float>, TapRow<u32>> minimum, maximum, median;
    std::tuple<MaskedWeightedRow<u8>, MaskedWeightedRow<u16>, MaskedWeightedRow<i32>, MaskedWeightedRow<float>,
               MaskedWeightedRow<u32>>
        maskedWeighted;
    std::tuple<MaskedTapRow<u8>, MaskedTapRow<u16>, MaskedTapRow<i32>, MaskedTapRow<float>> maskedMinimum,
        maskedMaximum, maskedMedian;
    std::tuple<BlendRow<u8>, BlendRow<u16>, BlendRow<i32>, BlendRow<float>> blend;
};

const FilterRows& GetFilterRows();

}  // namespace KrN::rows
