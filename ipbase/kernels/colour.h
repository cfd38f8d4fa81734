#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// Which of some ascending thresholds a value has reached.
struct Thresholds {
    const double* values;  // 256 of them; those that do not count are NaN
    u8 reserved;           // for NaN
};
template <class T>
using ThresholdRow = void (*)(u8* dst, const T* src, const Thresholds& thresholds, std::size_t count);

struct ColourKernels {
    std::tuple<ThresholdRow<i32>, ThresholdRow<float>, ThresholdRow<double>> index;
};

const ColourKernels& GetColourKernels();

}  // namespace KrN::kernels
