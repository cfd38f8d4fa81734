#pragma once

#include <cstddef>
#include <cstdint>

// The records of the reliability unwrapper (ipLUnwrap_Velmor.h), for derived classes. Pixels are numbered row by row.
namespace KrN {

// Two usable neighbours, packed into 64 bits so that sorting moves little memory. From the highest bit: the reliability
// (31 bits, a non-negative float without its sign; less comes first), the left or upper pixel (30 bits), whether the
// other one is below it instead of to its right (1 bit), and the wrap between the two plus 1 (2 bits).
struct EDGE {
    std::uint64_t bits;

    // `key` holds the bits of the reliability's float, `increment` is -1, 0 or 1.
    static EDGE Make(std::uint32_t key, std::size_t pixel, bool below, int increment) {
        return {std::uint64_t{key} << 33 | std::uint64_t{pixel} << 3 | (below ? 4u : 0u) |
                static_cast<unsigned>(increment + 1)};
    }
    std::uint32_t Key() const { return static_cast<std::uint32_t>(bits >> 33); }
    std::uint32_t First() const { return static_cast<std::uint32_t>(bits >> 3) & 0x3FFFFFFFu; }
    std::uint32_t Second(int width) const { return First() + (bits & 4 ? static_cast<std::uint32_t>(width) : 1u); }
    // Periods by which the second pixel is wrapped against the first: -1, 0 or 1.
    int Increment() const { return static_cast<int>(bits & 3) - 1; }
};

// A pixel in its group. Groups are trees: the pixels lead to the head of their group, directly or over others, and each
// one knows its periods relative to the pixel that it leads to. A merge thereby writes one pixel, however large the
// groups are.
struct PIXELM {
    std::int32_t group;      // another pixel of the group; or, of the head, minus the number of pixels in the group
    std::int32_t increment;  // periods to add, relative to that other pixel; 0 at the head
};

}  // namespace KrN
