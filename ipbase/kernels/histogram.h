#pragma once

#include <array>

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// Two arrays of counts that take turns, so that equal neighbours, as in flat images, do not wait for each other's
// store. Four of them were slower on noise. Element 0 counts what the mask excludes, bin b stands at b + 1.
struct CountLanes {
    std::array<std::uint32_t*, 2> lanes;
    std::uint32_t steps;  // 16-bit values: bin = steps * value / 65536, steps at most 65536; 8-bit: bin = value
};

// Counts `samples` pixels that stand `stride` apart. `mask` admits pixels below 64; null for images without one.
template <class T>
void CountRow(const T* a, const u8* mask, std::size_t samples, std::size_t stride, const CountLanes& counts);

extern template void CountRow(const u8*, const u8*, std::size_t, std::size_t, const CountLanes&);
extern template void CountRow(const u16*, const u8*, std::size_t, std::size_t, const CountLanes&);

}  // namespace KrN::kernels
