#pragma once

#include "ipbase/kernels/rowtypes.h"

// Rows of pixels that are moved or interpolated: 8-bit, 16-bit and float pixels in single, 32-bit and double ones in
// double precision. `R` is that precision.
namespace KrN::kernels {

// dst[i] = the sum of rows[k][i] * weights[k]. No row overlaps `dst`.
template <class R, class S>
using BlendRow = void (*)(R* dst, const S* const* rows, const R* weights, std::size_t taps, std::size_t count);

// dst[i] = the sum of src[first[i] + k] * weights[k * count + i]; `first` never falls.
template <class R>
using GatherRow = void (*)(R* dst, const R* src, const i32* first, const R* weights, std::size_t taps,
                           std::size_t count);

// dst[i] = the sum of src[step * i + k] * weights[k].
template <class R>
using StrideRow = void (*)(R* dst, const R* src, std::size_t step, const R* weights, std::size_t taps,
                           std::size_t count);

// dst[i] = src[index[i]].
template <class S>
using PickRow = void (*)(S* dst, const S* src, const i32* index, std::size_t count);

// A whole image: `stride` is the distance between rows in bytes.
template <class S>
struct PixelPlane {
    const S* first;
    std::ptrdiff_t stride;
    i32 width, height;

    const S* Row(std::ptrdiff_t y) const {
        return reinterpret_cast<const S*>(reinterpret_cast<const char*>(first) + y * stride);
    }
};

// dst[i] = the image between its pixels at (x[i], y[i]). NaN where a pixel that this takes lies outside.
template <class R, class S>
using WarpRow = void (*)(R* dst, const PixelPlane<S>& src, const double* x, const double* y, std::size_t count);

// Weights of samples of a cyclic quantity, which has the same value again after `period`: that of the type's range for
// integers. `nearest` is the sample that the others are compared with, neighbour by neighbour.
struct CyclicWeights {
    const double* weights;
    std::size_t taps, nearest;
    double period;
};

// dst[i] = rows[nearest][i] + the weighted sum of the differences from it, modulo the period.
template <class T>
using CyclicRow = void (*)(T* dst, const T* const* rows, const CyclicWeights& weights, std::size_t count);

// Tiles of this many rows and columns change places.
constexpr std::size_t kTurnTile = 32;

struct GeometryKernels {
    std::tuple<BlendRow<float, u8>, BlendRow<float, u16>, BlendRow<float, float>, BlendRow<double, i32>,
               BlendRow<double, double>>
        blend;
    std::tuple<GatherRow<float>, GatherRow<double>> gather;
    std::tuple<StrideRow<float>, StrideRow<double>> stride;
    std::tuple<PickRow<u8>, PickRow<u16>, PickRow<i32>, PickRow<float>, PickRow<double>> pick;
    // floor(v + 0.5), limited to the type; NaN becomes 0.
    std::tuple<UnaryRow<u8, float>, UnaryRow<u16, float>, UnaryRow<i32, double>> round;
    std::tuple<bool (*)(const float*, std::size_t), bool (*)(const double*, std::size_t)> finite;
    // From right to left; `dst` is not `src`.
    std::tuple<UnaryRow<u8, u8>, UnaryRow<u16, u16>, UnaryRow<i32, i32>, UnaryRow<float, float>,
               UnaryRow<double, double>>
        reverse;
    // dst(x, y) = src(y, x) for a block of `columns` x `rows` pixels of the destination; strides in bytes.
    std::tuple<void (*)(u8*, std::ptrdiff_t, const u8*, std::ptrdiff_t, std::size_t columns, std::size_t rows),
               void (*)(u16*, std::ptrdiff_t, const u16*, std::ptrdiff_t, std::size_t columns, std::size_t rows),
               void (*)(i32*, std::ptrdiff_t, const i32*, std::ptrdiff_t, std::size_t columns, std::size_t rows),
               void (*)(double*, std::ptrdiff_t, const double*, std::ptrdiff_t, std::size_t columns, std::size_t rows)>
        transpose;
    std::tuple<WarpRow<float, u8>, WarpRow<float, u16>, WarpRow<float, float>, WarpRow<double, double>> linear, cubic;
    std::tuple<CyclicRow<u8>, CyclicRow<u16>, CyclicRow<float>, CyclicRow<double>> cyclic;
};

const GeometryKernels& GetGeometryKernels();

}  // namespace KrN::kernels
