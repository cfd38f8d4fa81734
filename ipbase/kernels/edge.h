#pragma once

#include "ipbase/kernels/rowtypes.h"

// Edges of a foreground, in rows of one bit per pixel: bit i % 64 of word i / 64.
namespace KrN::kernels {

using u64 = std::uint64_t;

// Words of a row, eight at a time. A row of the ground has two more words on each side of
// them.
inline std::size_t BitWords(std::size_t count) { return (count + 511) / 512 * 8; }

template <class T>
struct EdgeRows {
    // Sets the bits of the ground: where a row is foreground or, when `outwards`, where it is not. On both sides of the
    // row, the bits are that of its first or last pixel.
    void (*ground)(u64* ground, const T* row, T foreground, bool outwards, std::size_t count);
    // The value where bits are set, else the row, which may be `dst`. Eight bytes behind the bits may be read.
    void (*fill)(T* dst, const T* row, const u64* bits, T value, std::size_t count);
};

struct BitRows {
    // From each pixel of the ground on whose neighbour is none, `reach` pixels away from that neighbour. The ends of
    // the row are no edges. What is filled then is ground, or not. `scratch` holds six times as many words, all 0 at
    // first.
    void (*along)(u64* filled, u64* ground, std::size_t reach, bool isGround, u64* scratch, std::size_t words);
    // Where `first` is set but not `before`, or `last` but not `after`; `since` gets the same bits as well.
    void (*mark)(u64* marks, u64* since, const u64* first, const u64* before, const u64* last, const u64* after,
                 std::size_t words);
    void (*join)(u64* dst, const u64* a, const u64* b, const u64* c, std::size_t words);
};

struct EdgeKernels {
    std::tuple<EdgeRows<u8>, EdgeRows<u16>, EdgeRows<i32>, EdgeRows<float>> edges;
    BitRows bits;
};

const EdgeKernels& GetEdgeKernels();

}  // namespace KrN::kernels
