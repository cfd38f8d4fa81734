#pragma once

#include "ipbase/base/window.h"
#include "ipbase/kernels/rowtypes.h"

// Windows along lines: extremes, sums and means of samples that are `taps` apart in memory or stand in different rows.
namespace KrN::kernels {

using u32 = std::uint32_t;

// A window filter of a whole row: taps[k] points to the row of the k-th window sample of every pixel, which is the row
// itself moved by k pixels for a filter along rows, another row for one along columns. No tap row overlaps `dst`.
template <class T>
using TapRow = void (*)(T* dst, const T* const* taps, std::size_t tapCount, std::size_t count);

// The rounded sum of the tap samples times their weights. Products of integers are formed modulo 2^32.
template <class T>
using WeightedRow = void (*)(T* dst, const T* const* taps, const i32* weights, std::size_t tapCount,
                             const Rounding& rounding, std::size_t count);

// Sums of few bytes fit in 16 bits, those of few words in 31; doubles hold all others exactly.
template <class T, class S>
struct MeanRows {
    void (*taps)(T* dst, const T* const* taps, std::size_t tapCount, const Rounding& rounding, std::size_t count);
    // Adds a row to the sums, gives their means and takes another row away.
    void (*slide)(T* dst, S* sums, const T* added, const T* removed, const Rounding& rounding, std::size_t count);
    void (*add)(S* sums, const T* added, std::size_t count);
    // Of sums from prefix[i] to prefix[i + taps].
    void (*differences)(T* dst, const S* prefix, std::size_t taps, const Rounding& rounding, std::size_t count);
};

struct WindowKernels {
    std::tuple<WeightedRow<u8>, WeightedRow<u16>, WeightedRow<i32>, WeightedRow<float>, WeightedRow<u32>> weighted;
    std::tuple<TapRow<u8>, TapRow<u16>, TapRow<i32>, TapRow<float>> minimum, maximum;
    std::tuple<MeanRows<u8, u16>, MeanRows<u8, double>, MeanRows<u16, u32>, MeanRows<u16, double>,
               MeanRows<i32, double>>
        mean;
};

const WindowKernels& GetWindowKernels();

}  // namespace KrN::kernels
