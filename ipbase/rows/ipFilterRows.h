#pragma once

#include "ipbase/rows/ipWindowRows.h"

namespace KrN::rows {

inline constexpr u8 kFirstInvalid = 64;

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
    std::tuple<MaskedWeightedRow<u8>, MaskedWeightedRow<u16>, MaskedWeightedRow<i32>, MaskedWeightedRow<float>,
               MaskedWeightedRow<u32>>
        maskedWeighted;
    std::tuple<MaskedTapRow<u8>, MaskedTapRow<u16>, MaskedTapRow<i32>, MaskedTapRow<float>> maskedMinimum,
        maskedMaximum;
    std::tuple<BlendRow<u8>, BlendRow<u16>, BlendRow<i32>, BlendRow<float>> blend;
};

const FilterRows& GetFilterRows();

}  // namespace KrN::rows
