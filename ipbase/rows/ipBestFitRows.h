#pragma once

#include "ipbase/rows/ipRowTypes.h"

namespace KrN::rows {

// Sums over the pixels of a row that take part, s being the coordinate of a pixel and z its value.
struct PowerSums {
    double powers[7] = {};  // of s^p
    double values[4] = {};  // of z * s^p
};

// Mask values from here on exclude a pixel.
inline constexpr u8 kMaskLimit = 64;

// Adds the sums of the values of all pixels, and both sums of the pixels that the mask admits.
template <class T>
using ValueSumRow = void (*)(const T* z, const double* s, std::size_t count, PowerSums& sums);
template <class T>
using MaskedSumRow = void (*)(const T* z, const u8* mask, const double* s, std::size_t count, PowerSums& sums);

// c[0]*X^3 + c[1]*X^2 + ... + c[9] of a row: X counts its pixels from 1.
struct CubicRow {
    const double* c;
    double y;
};
using DrawRow = void (*)(float* dst, CubicRow cubic, std::size_t count);
// Pixels that the mask does not admit are left alone, or set to 0.
using DrawMaskedRow = void (*)(float* dst, const u8* mask, CubicRow cubic, std::size_t count);

struct BestFitRows {
    std::tuple<ValueSumRow<u8>, ValueSumRow<u16>, ValueSumRow<float>> values;
    std::tuple<MaskedSumRow<u8>, MaskedSumRow<u16>, MaskedSumRow<float>> masked;
    // The least and greatest mask value.
    void (*extremes)(const u8* mask, std::size_t count, u8& least, u8& greatest);
    DrawRow draw;
    DrawMaskedRow drawElseKeep, drawElseZero;
};

const BestFitRows& GetBestFitRows();

}  // namespace KrN::rows
