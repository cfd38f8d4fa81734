#pragma once

#include "ipbase/rows/ipWindowRows.h"

// Rows of which some samples are invalid: `valid` is 255 in valid samples and 0 in others.
namespace KrN::rows {

// The sum of the samples times their weights, divided by the sum of the weights of valid samples; by 1, when
// `atLeastOne`, if that is less than 1. A sum of weights of 0 gives 0. Invalid samples are 0 in the tap rows.
template <class T>
using MaskedWeightedRow = void (*)(T* dst, const T* const* taps, const u8* const* valid, const i32* weights,
                                   std::size_t tapCount, bool atLeastOne, std::size_t count);

// Means of many samples, from exact sums and from numbers of valid samples.
template <class T>
struct MaskedMeans {
    // Adds a row, in which invalid samples are 0, and takes another one away.
    void (*add)(double* sums, i32* counts, const T* row, const u8* valid, std::size_t count);
    void (*remove)(double* sums, i32* counts, const T* row, const u8* valid, std::size_t count);
    // A count of 0 gives 0.
    void (*divide)(T* dst, const double* sums, const i32* counts, std::size_t count);
};

template <class T>
struct MaskedPixels {
    // Invalid samples become a value that does not matter.
    void (*neutralize)(T* dst, const T* row, const u8* valid, T neutral, std::size_t count);
    // What was filtered where the row is valid, else the row itself.
    void (*select)(T* dst, const T* filtered, const T* row, const u8* valid, std::size_t count);
    // The same, and with 0 instead of the row.
    void (*split)(T* dst, T* zeroed, const T* filtered, const T* row, const u8* valid, std::size_t count);
};

struct MaskRows {
    std::tuple<MaskedWeightedRow<u8>, MaskedWeightedRow<u16>, MaskedWeightedRow<i32>, MaskedWeightedRow<float>,
               MaskedWeightedRow<u32>>
        weighted;
    std::tuple<MaskedMeans<u8>, MaskedMeans<u16>, MaskedMeans<i32>, MaskedMeans<u32>> means;
    std::tuple<MaskedPixels<u8>, MaskedPixels<u16>, MaskedPixels<i32>, MaskedPixels<float>, MaskedPixels<u32>> pixels;
    // Of mask values, of which those below 64 stand for valid samples.
    void (*validate)(u8* valid, const u8* mask, std::size_t count);
    // (number of valid samples - 1) / 2, or 0.
    void (*middle)(u8* ranks, const u8* const* valid, std::size_t tapCount, std::size_t count);
};

const MaskRows& GetMaskRows();

}  // namespace KrN::rows
