#pragma once

#include <array>
#include <memory>

#include "imagemodel/export.h"
#include "imagemodel/krvalues.h"
#include "ipbase/ipUnwrapRecords.h"
#include "ipbase/unwrap/reliability/input.h"

namespace KrN {

// The wrap from one wrapped phase to the next: what has to be added to b, in periods, less what is added to a, is its
// negative.
inline int FindWrap(float a, float b) {
    constexpr auto pi = static_cast<float>(KrMath::Pi);
    const float step = a - b;
    return step > pi ? -1 : step < -pi ? 1 : 0;
}

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
