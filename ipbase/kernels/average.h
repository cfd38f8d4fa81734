#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// Sums of 16-bit pixels, which are unsigned 32-bit numbers held in signed pixels.
struct AverageKernels {
    PairRow<i32, u16, i32> add;
    // The sum divided by k > 0, rounded to the nearest (halves up).
    ConstantRow<u16, i32, std::uint32_t> divide;
};

const AverageKernels& GetAverageKernels();

}  // namespace KrN::kernels
