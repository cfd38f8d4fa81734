#pragma once

#include "ipbase/rows/ipWindowRows.h"

// Medians of windows, the lower middle value of an even number of samples.
namespace KrN::rows {

// Puts two of the samples in order; what is not looked at any more is not stored.
struct Comparator {
    u16 low, high;
    bool keepLow, keepHigh;
};

// A sorting network for the samples of a window. `scratch` holds `tapCount` vectors, of at most kLongestVector bytes.
template <class T>
struct NetworkRow {
    void (*run)(T* dst, const T* const* taps, std::size_t tapCount, const Comparator* list, std::size_t comparators,
                std::size_t rank, T* scratch, std::size_t count);
    // A network that sorts; the rank of each pixel, at most `rank`, stands in `ranks`.
    void (*runRanked)(T* dst, const T* const* taps, std::size_t tapCount, const Comparator* list,
                      std::size_t comparators, std::size_t rank, const u8* ranks, T* scratch, std::size_t count);
};
inline constexpr std::size_t kLongestVector = 64;

// Squares of 3 and 5 samples: rows[k] are the rows of the window with as many samples beyond the row as it needs.
// `scratch` holds as many rows of that length.
template <class T>
using SquareRow = void (*)(T* dst, const T* const* rows, T* scratch, std::size_t count);

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

struct MedianRows {
    std::tuple<SquareRow<u8>, SquareRow<u16>, SquareRow<i32>, SquareRow<float>> square3, square5;
    std::tuple<NetworkRow<u8>, NetworkRow<u16>, NetworkRow<i32>, NetworkRow<float>> network;
    HistogramRows histogram;
};

const MedianRows& GetMedianRows();

}  // namespace KrN::rows
