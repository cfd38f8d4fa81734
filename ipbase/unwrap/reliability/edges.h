#pragma once

#include <array>
#include <memory>

#include "imagemodel/export.h"
#include "ipbase/ipUnwrapRecords.h"
#include "ipbase/unwrap/reliability/input.h"

namespace KrN {

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
