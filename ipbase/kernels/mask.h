#pragma once

#include "ipbase/kernels/window.h"

// Rows of which some samples are invalid: `valid` is 255 in valid samples and 0 in others.
namespace KrN::kernels {

// The sum of the samples times their weights, divided by the sum of the weights of valid samples; by 1, when
// `atLeastOne`, if that is less than 1. A sum of weights of 0 gives 0. Invalid samples are 0 in the tap rows.
template <class T>
using MaskedWeightedRow = void (*)(T* dst, const T* const* taps, const u8* const* valid, const i32* weights,
                                   std::size_t tapCount, bool atLeastOne, std::size_t count);

// Means of samples, from exact sums and from numbers of valid samples. Bytes have sums in 16 bits of up to 255 samples,
// words in 32 bits of up to 32,767 samples, and doubles hold all others.
template <class T, class Sum, class Count>
struct MaskedMeans {
    // Adds a row, in which invalid samples are 0, gives the means of what is then at most `taps` samples, 0 where there
    // is none, and takes a row away. The sums start at 0 and stand in any order.
    void (*slide)(T* dst, Sum* sums, Count* counts, const T* added, const u8* addedValid, const T* removed,
                  const u8* removedValid, std::size_t taps, std::size_t count);
    // The means of sums that stand in the order of the pixels.
    void (*divide)(T* dst, const Sum* sums, const Count* counts, std::size_t count);
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

struct MaskKernels {
    std::tuple<MaskedWeightedRow<u8>, MaskedWeightedRow<u16>, MaskedWeightedRow<i32>, MaskedWeightedRow<float>,
               MaskedWeightedRow<u32>>
        weighted;
    std::tuple<MaskedMeans<u8, u16, u8>, MaskedMeans<u8, double, i32>, MaskedMeans<u16, u32, u16>,
               MaskedMeans<u16, double, i32>, MaskedMeans<i32, double, i32>, MaskedMeans<u32, double, i32>>
        means;
    std::tuple<MaskedPixels<u8>, MaskedPixels<u16>, MaskedPixels<i32>, MaskedPixels<float>, MaskedPixels<u32>> pixels;
    // Of mask values, of which those below 64 stand for valid samples.
    void (*validate)(u8* valid, const u8* mask, std::size_t count);
    // The numbers of valid samples in the columns of some rows, of which there are at most 255.
    void (*count)(u8* counts, const u8* const* valid, std::size_t rowCount, std::size_t count);
    // Of the sum of `taps` counts, at most 254, the rank of its middle: (sum + 1) / 2 - 1, or 0.
    void (*middle)(u8* ranks, const u8* counts, std::size_t taps, std::size_t count);
};

const MaskKernels& GetMaskKernels();

}  // namespace KrN::kernels
