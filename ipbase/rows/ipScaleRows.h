#pragma once

#include "ipbase/rows/ipRowTypes.h"

namespace KrN::rows {

// v -> (v - least) * factor + low, in the precision of T.
template <class T>
struct Stretch {
    T least, factor, low;
};

template <class T>
struct Binary {
    T threshold, low, high;
};

// 0 up to lower, 255 from upper on, 0 throughout when they are equal. Between them trunc((v - lower) * (1 / range) *
// 255) in single precision, trunc((v - lower) * 255 / range) in double precision; the range is upper - lower.
template <class T>
struct Window {
    T lower, upper, range;
};

// a * factor / 2^shift + 1/2, limited to `limit`: the clipped product with a constant in fixed point.
struct FixedPoint {
    std::uint32_t factor, shift, limit;
};

template <class T>
struct Extremes {
    T least, greatest;
};
// Widens the extremes by the values of a row; NaN does not count.
template <class T>
using RangeRow = void (*)(const T* a, std::size_t count, Extremes<T>& extremes);

struct ScaleRows {
    // trunc(a * k + 0.5) limited to the destination's range.
    std::tuple<ConstantRow<u8, u16, double>, ConstantRow<u16, u16, double>> multiplyClip;
    // floor(a * k + 0.5), low bits; for |k| below kModuloLimit.
    std::tuple<ConstantRow<u8, u16, double>, ConstantRow<u16, u16, double>> multiplyModulo;
    UnaryRow<u16, u16> negate;
    std::tuple<ConstantRow<u8, u8, FixedPoint>, ConstantRow<u16, u8, FixedPoint>> multiplyFixed;
    std::tuple<ConstantRow<float, u8, double>, ConstantRow<float, float, double>> multiplyFloat;

    ConstantRow<float, float, Stretch<float>> stretch;
    ConstantRow<float, float, Stretch<double>> stretchDouble;
    std::tuple<ConstantRow<u8, u8, Binary<u8>>, ConstantRow<float, float, Binary<float>>> binarize;
    std::tuple<ConstantRow<u8, u8, Window<float>>, ConstantRow<u8, u16, Window<float>>,
               ConstantRow<u8, i32, Window<double>>, ConstantRow<u8, float, Window<double>>,
               ConstantRow<u8, double, Window<double>>>
        window;
    std::tuple<RangeRow<u8>, RangeRow<u16>, RangeRow<i32>, RangeRow<float>, RangeRow<double>> range;
};

inline constexpr double kModuloLimit = 32000.0;

const ScaleRows& GetScaleRows();

}  // namespace KrN::rows
