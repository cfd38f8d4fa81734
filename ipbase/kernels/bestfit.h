#pragma once

#include "ipbase/base/mask.h"
#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// Images are summed up in tiles, down the columns first: row r of a tile of n rows counts C(j + k, k) times in the k-th
// sum of its column, j = n - 1 - r being its distance from the last row. Such sums are running sums of running sums,
// exact in integers, and the powers of a row's coordinate are combinations of the factors C(j + k, k).
inline constexpr std::size_t kTileRows = 16;
inline constexpr std::size_t kTileColumns = 128;

// sums[k][p] of a tile, k + p < count: of s^p times the k-th sums of its columns, s being the coordinate of a column.
template <std::size_t count>
using TileSums = double[count][count];
using ValueSums = TileSums<4>;
using PowerSums = TileSums<7>;

// Rows of a tile, and its columns: `count` of them from `first` on.
template <class T>
struct Tile {
    const T* const* rows;
    std::size_t n, first, count;
};

// Adds the sums of all pixels of a tile, and both sums (of the values and of 1) of the pixels that the mask admits.
// `s` belongs to the first column of the tile.
template <class T>
using TileRow = void (*)(const Tile<T>& tile, const double* s, ValueSums& values);
template <class T>
using MaskedTileRow = void (*)(const Tile<T>& tile, const u8* const* masks, const double* s, ValueSums& values,
                               PowerSums& powers);

// c[0]*X^3 + c[1]*X^2 + ... + c[9] of a row. X counts its pixels from 1; `onlyX` holds the terms without Y of each X,
// `c8x` holds c[7]*X.
struct CubicRow {
    const double* c;
    const double *onlyX, *c8x;
    double y;
};
using DrawRow = void (*)(float* dst, CubicRow cubic, std::size_t count);
// Pixels that the mask does not admit are left alone, or set to 0.
using DrawMaskedRow = void (*)(float* dst, const u8* mask, CubicRow cubic, std::size_t count);

struct BestFitKernels {
    std::tuple<TileRow<u8>, TileRow<u16>, TileRow<float>> tile;
    std::tuple<MaskedTileRow<u8>, MaskedTileRow<u16>, MaskedTileRow<float>> masked;
    // The least and greatest value of a mask's tile.
    void (*extremes)(const Tile<u8>& mask, u8& least, u8& greatest);
    DrawRow draw;
    DrawMaskedRow drawElseKeep, drawElseZero;
};

const BestFitKernels& GetBestFitKernels();

}  // namespace KrN::kernels
