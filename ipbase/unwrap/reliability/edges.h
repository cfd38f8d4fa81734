#pragma once

#include <array>
#include <memory>

#include "imagemodel/export.h"
#include "ipbase/unwrap/reliability/input.h"

namespace KrN {

// Two usable neighbours, packed into 64 bits so that sorting moves little memory. From the highest bit: the reliability
// (31 bits, a non-negative float without its sign; less comes first), the left or upper pixel (30 bits), whether the
// other one is below it instead of to its right (1 bit), and the wrap between the two plus 1 (2 bits).
struct EDGE {
    std::uint64_t bits;

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

// All edges of an image, in buckets of keys with the same upper bits, which follow one another in the order of those
// bits. Sorting the buckets orders the edges by all of their bits: equal keys by pixel, to the right before below.
struct ReliabilityEdges {
    static constexpr std::size_t kBuckets = 2048;
    static constexpr int kBucketShift = 20;  // of the key

    std::unique_ptr<EDGE[]> edges;
    std::array<std::size_t, kBuckets + 1> bucket{};  // where each one begins, and the end of the last one
    std::size_t Count() const { return bucket[kBuckets]; }
};

// Both return false when the flag was raised meanwhile; the edges are then of no use. Ranges of buckets may be sorted
// at the same time.
bool CollectEdges(const ReliabilityInput& input, const AbortFlag& abort, ReliabilityEdges& edges);
VORIP_API bool SortEdges(ReliabilityEdges& edges, const AbortFlag& abort, std::size_t firstBucket = 0,
                         std::size_t endBucket = ReliabilityEdges::kBuckets);

}  // namespace KrN
