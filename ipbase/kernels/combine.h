#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// dst[i] = f(a[i], b[i], by[i]), `by` being a mask or a weight.
template <class T>
using CombineRow = void (*)(T* dst, const T* a, const T* b, const u8* by, std::size_t count);

struct Exposures {
    double saturation, gain;
};
template <class D, class T>
using ExposureRow = void (*)(D* dst, const T* a, const T* b, const Exposures& exposures, std::size_t count);

struct CombineKernels {
    // a where the mask is below 64, else b.
    std::tuple<CombineRow<u8>, CombineRow<u16>, CombineRow<i32>, CombineRow<float>, CombineRow<double>> select;
    // (a (255 - w) + b w) / 255, integers rounded half up.
    std::tuple<CombineRow<u8>, CombineRow<u16>, CombineRow<float>, CombineRow<double>> blend;
    // a, but b * gain where a is saturated.
    std::tuple<ExposureRow<u8, u8>, ExposureRow<u16, u8>, ExposureRow<float, u8>, ExposureRow<u16, u16>,
               ExposureRow<float, u16>, ExposureRow<float, float>>
        merge;
};

const CombineKernels& GetCombineKernels();

}  // namespace KrN::kernels
