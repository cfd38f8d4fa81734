#include "ipbase/unwrap/reliability/edges.h"

#include <algorithm>
#include <utility>

#include "ipbase/kernels/reliability.h"

namespace KrN {
namespace {

// The keys of the edges to the right of and below the pixels of one row at a time. Two rows of reliabilities are all
// that it keeps.
class EdgeKeys {
public:
    explicit EdgeKeys(const ReliabilityInput& input)
        : mInput(input),
          mWidth(static_cast<std::size_t>(input.width)),
          mReliabilities(mWidth),
          mReliabilitiesBelow(mWidth),
          right(mWidth - 1),
          below(mWidth) {
        ComputeReliabilities(0, mReliabilitiesBelow.data());
    }

    // Rows are visited from the top.
    void ComputeRow(int y) {
        mReliabilities.swap(mReliabilitiesBelow);
        const std::uint8_t* const mask = mInput.Mask(y);
        const float* const own = mReliabilities.data();
        mRows.edgeKeys(right.data(), own, own + 1, mask, mask + 1, right.size());
        if (y + 1 == mInput.height) return below.clear();
        ComputeReliabilities(y + 1, mReliabilitiesBelow.data());
        mRows.edgeKeys(below.data(), own, mReliabilitiesBelow.data(), mask, mInput.Mask(y + 1), mWidth);
    }

private:
    void ComputeReliabilities(int y, float* reliabilities) const {
        const ReliabilityInput& in = mInput;
        const auto firstIndex = static_cast<std::uint32_t>(in.First(y));
        if (y == 0 || y + 1 == in.height) return mRows.unreliable(reliabilities, firstIndex, mWidth);
        mRows.reliability(reliabilities, {in.Wrapped(y - 1), in.Wrapped(y), in.Wrapped(y + 1)},
                          {in.Mask(y - 1), in.Mask(y), in.Mask(y + 1)}, firstIndex, mWidth);
    }

    const kernels::ReliabilityKernels& mRows = kernels::GetReliabilityKernels();
    const ReliabilityInput& mInput;
    const std::size_t mWidth;
    std::vector<float> mReliabilities, mReliabilitiesBelow;

public:
    std::vector<std::uint32_t> right, below;  // kernels::kNoEdge where there is none; no row is below the last one
};

// Turns the counts of the buckets into their places.
bool CountEdges(const ReliabilityInput& input, const AbortFlag& abort, ReliabilityEdges& edges) {
    constexpr int shift = ReliabilityEdges::kBucketShift;
    std::array<std::size_t, (kernels::kNoEdge >> shift) + 1> counts{};  // what is no edge falls into the last one
    EdgeKeys keys(input);
    for (int y = 0; y < input.height; ++y) {
        if (abort.IsRaised()) return false;
        keys.ComputeRow(y);
        for (const std::uint32_t key : keys.right) ++counts[key >> shift];
        for (const std::uint32_t key : keys.below) ++counts[key >> shift];
    }
    for (std::size_t i = 0; i < ReliabilityEdges::kBuckets; ++i) edges.bucket[i + 1] = edges.bucket[i] + counts[i];
    return true;
}

constexpr std::size_t kDigits = 1024;  // the key below the bucket's bits has two digits
using DigitCounts = std::array<std::size_t, kDigits>;

template <int shift>
std::size_t Digit(EDGE edge) {
    return edge.bits >> (33 + shift) & (kDigits - 1);
}

template <int shift>
void Distribute(const EDGE* from, std::size_t count, DigitCounts& places, EDGE* to) {
    std::size_t place = 0;
    for (std::size_t& entry : places) place += std::exchange(entry, place);
    for (std::size_t i = 0; i < count; ++i) to[places[Digit<shift>(from[i])]++] = from[i];
}

// Stable and linear; a digit that all edges share costs nothing.
void SortByDigits(EDGE* edges, std::size_t count, EDGE* other) {
    DigitCounts low{}, high{};
    for (std::size_t i = 0; i < count; ++i) {
        ++low[Digit<0>(edges[i])];
        ++high[Digit<10>(edges[i])];
    }
    EDGE* sorted = edges;
    if (low[Digit<0>(edges[0])] != count) {
        Distribute<0>(edges, count, low, other);
        sorted = other;
    }
    if (high[Digit<10>(edges[0])] != count) {
        Distribute<10>(sorted, count, high, sorted == edges ? other : edges);
        sorted = sorted == edges ? other : edges;
    }
    if (sorted == other) std::copy_n(other, count, edges);
}

constexpr std::size_t kFewEdges = 400;  // for which counting digits does not pay

}  // namespace

bool CollectEdges(const ReliabilityInput& input, const AbortFlag& abort, ReliabilityEdges& edges) {
    if (!CountEdges(input, abort, edges)) return false;
    edges.edges.reset(new EDGE[edges.Count()]);
    EDGE* const to = edges.edges.get();
    std::array<std::size_t, ReliabilityEdges::kBuckets + 1> place = edges.bucket;
    const auto add = [&](std::uint32_t key, std::size_t pixel, bool below, float a, float b) {
        if (key == kernels::kNoEdge) return;
        to[place[key >> ReliabilityEdges::kBucketShift]++] = EDGE::Make(key, pixel, below, FindWrap(a, b));
    };
    EdgeKeys keys(input);
    for (int y = 0; y < input.height; ++y) {
        if (abort.IsRaised()) return false;
        keys.ComputeRow(y);
        const float* const row = input.Wrapped(y);
        const float* const next = keys.below.empty() ? nullptr : input.Wrapped(y + 1);
        const std::size_t first = input.First(y);
        for (std::size_t x = 0; x < keys.below.size(); ++x) {
            if (x < keys.right.size()) add(keys.right[x], first + x, false, row[x], row[x + 1]);
            add(keys.below[x], first + x, true, row[x], next[x]);
        }
        if (next) continue;
        for (std::size_t x = 0; x < keys.right.size(); ++x) add(keys.right[x], first + x, false, row[x], row[x + 1]);
    }
    return true;
}

bool SortEdges(ReliabilityEdges& edges, const AbortFlag& abort, std::size_t firstBucket, std::size_t endBucket) {
    const auto size = [&edges](std::size_t i) { return edges.bucket[i + 1] - edges.bucket[i]; };
    std::size_t largest = 0;
    for (std::size_t i = firstBucket; i < endBucket; ++i) largest = std::max(largest, size(i));
    const std::unique_ptr<EDGE[]> other(new EDGE[largest > kFewEdges ? largest : 0]);
    for (std::size_t i = firstBucket; i < endBucket; ++i) {
        if (size(i) < 2) continue;
        if (abort.IsRaised()) return false;
        EDGE* const first = edges.edges.get() + edges.bucket[i];
        if (size(i) > kFewEdges)
            SortByDigits(first, size(i), other.get());
        else
            std::sort(first, first + size(i), [](EDGE a, EDGE b) { return a.bits < b.bits; });
    }
    return !abort.IsRaised();
}

}  // namespace KrN
