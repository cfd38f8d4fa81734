#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// Three neighbouring rows of an image.
template <class T>
struct Rows3 {
    const T *above, *row, *below;
};

// The mask value of a usable pixel.
inline constexpr u8 kUsable = 255;
// In place of the key of two neighbours that are not both usable; larger than every key.
inline constexpr std::uint32_t kNoEdge = 0xFFFFFFFFu;

struct ReliabilityKernels {
    // Sum of the squared second differences (wrapped radians) in the four directions through each pixel; less is
    // better. Where a pixel or one of its eight neighbours is unusable, and in the first and the last column, it is
    // instead a value beyond those, drawn from the pixel's index. Values and masks have `count` pixels each.
    void (*reliability)(float* dst, const Rows3<float>& values, const Rows3<u8>& masks, std::uint32_t firstIndex,
                        std::size_t count);
    // The same in the first and the last row, where no pixel has all neighbours.
    void (*unreliable)(float* dst, std::uint32_t firstIndex, std::size_t count);
    // Sort keys of the edges between a[i] and b[i]: the bits of the sum of their reliabilities, 31 bits, which are in
    // the order of the values.
    void (*edgeKeys)(std::uint32_t* dst, const float* a, const float* b, const u8* maskA, const u8* maskB,
                     std::size_t count);
};

const ReliabilityKernels& GetReliabilityKernels();

}  // namespace KrN::kernels
