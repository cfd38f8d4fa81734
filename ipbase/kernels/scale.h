#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// v -> (v - least) * factor + low, in the precision of T.
template <class T>
struct Stretch {
    T least, factor, low;
};

template <class T>
struct Binary {
    T threshold, low, high;
};

// 0 up to lower, 255 from upper on. Between them trunc((v - lower) * (1 / range) * 255) in single precision,
// trunc((v - lower) * 255 / range) in double precision. `lower` is below `upper`; the result is anded with the mask.
template <class T>
struct Window {
    T lower, upper, range;
    std::int32_t mask;
};

template <class T>
struct Extremes {
    T least, greatest;
};
// Widens the extremes by the values of a row; NaN does not count.
template <class T>
using RangeRow = void (*)(const T* a, std::size_t count, Extremes<T>& extremes);

struct ScaleKernels {
    // trunc(a * k + 0.5) limited to the destination's range; for |k| below kProductLimit.
    std::tuple<ConstantRow<u8, u16, double>, ConstantRow<u16, u16, double>> multiplyClip;
    // floor(a * k + 0.5), low bits; for |k| below kProductLimit.
    std::tuple<ConstantRow<u8, u16, double>, ConstantRow<u16, u16, double>> multiplyModulo;
    UnaryRow<u16, u16> negate;
    // a * k; the form with a single-precision k computes in single precision.
    std::tuple<ConstantRow<float, u8, double>, ConstantRow<float, u8, float>, ConstantRow<float, float, double>,
               ConstantRow<float, float, float>>
        multiplyFloat;

    ConstantRow<float, float, Stretch<float>> stretch;
    ConstantRow<float, float, Stretch<double>> stretchDouble;
    std::tuple<ConstantRow<u8, u8, Binary<u8>>, ConstantRow<float, float, Binary<float>>> binarize;
    std::tuple<ConstantRow<u8, u8, Window<float>>, ConstantRow<u8, u16, Window<float>>,
               ConstantRow<u8, i32, Window<double>>, ConstantRow<u8, float, Window<double>>,
               ConstantRow<u8, double, Window<double>>>
        window;
    std::tuple<RangeRow<u8>, RangeRow<u16>, RangeRow<i32>, RangeRow<float>, RangeRow<double>> range;
};

inline constexpr double kProductLimit = 32000.0;

const ScaleKernels& GetScaleKernels();

}  // namespace KrN::kernels
