#pragma once

#include "ipbase/base/network.h"
#include "ipbase/kernels/window.h"

// Medians of windows, the lower middle value of an even number of samples.
namespace KrN::kernels {

// `scratch` holds as many vectors as there are samples, of at most kLongestVector bytes.
template <class T>
struct NetworkRow {
    // The last rank that the network selects, or, if `ranks` is not null, the one whose number stands in there.
    void (*select)(T* dst, const T* const* taps, std::size_t tapCount, const Network& network, const u8* ranks,
                   T* scratch, std::size_t count);
    // Sorts every column of some rows; the network selects all ranks.
    void (*sort)(T* const* sorted, const T* const* rows, std::size_t rowCount, const Network& network, T* scratch,
                 std::size_t count);
};
inline constexpr std::size_t kLongestVector = 64;

// Squares of 3 and 5 samples: the median, or, if `ranks` is not null, the rank up to that of the median whose number
// stands in there. rows[k] are the rows of the window with as many samples beyond the row as it needs; `scratch` holds
// as many rows of that length.
template <class T>
using SquareRow = void (*)(T* dst, const T* const* rows, const u8* ranks, T* scratch, std::size_t count);

// Bytes: how many samples are at most as large, by the upper and, within each of 16 ranges, by the lower four bits.
struct ColumnCounts {
    u8 coarse[16];
    u8 fine[16][16];
};
struct HistogramRows {
    // Counts the samples of a row in their columns, or no longer, if `valid` is null or not 0.
    void (*add)(ColumnCounts* columns, const u8* row, const u8* valid, std::size_t count);
    void (*remove)(ColumnCounts* columns, const u8* row, const u8* valid, std::size_t count);
    // Medians over `taps` columns each; dst keeps what has no sample.
    void (*median)(u8* dst, const ColumnCounts* columns, std::size_t taps, std::size_t count);
};

struct MedianKernels {
    std::tuple<SquareRow<u8>, SquareRow<u16>, SquareRow<i32>, SquareRow<float>> square3, square5;
    std::tuple<NetworkRow<u8>, NetworkRow<u16>, NetworkRow<i32>, NetworkRow<float>> network;
    HistogramRows histogram;
};

const MedianKernels& GetMedianKernels();

}  // namespace KrN::kernels
