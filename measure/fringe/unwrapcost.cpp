#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "ipbase/unwrap/reliability/bandjoiner.h"
#include "measure/base/arguments.h"
#include "measure/base/phase.h"
#include "measure/fringe/components.h"
#include "measure/fringe/rejoin.h"
#include "measure/fringe/rowbands.h"
#include "measure/unwrap.h"

namespace measure {
namespace {

using KrN::EDGE;
using KrN::PIXELM;
using KrN::ReliabilityEdges;
using EdgeList = std::vector<EDGE>;

const KrN::AbortFlag kNever(nullptr);

// Below this sum of two costs, in radians, noise decides which edge is the better one; they count as equal.
constexpr float kEqualCosts = 0.25f;
constexpr float kLargestCost = 1e6f;

// Bands of rows are joined on their own first, on all cores, then with one another.
constexpr int kBandRows = 64;

int CountBands(const cv::Mat& image) { return (image.rows + kBandRows - 1) / kBandRows; }
cv::Range BandRows(const cv::Mat& image, int band) {
    return {band * kBandRows, std::min((band + 1) * kBandRows, image.rows)};
}

class CostUnwrapper {
public:
    CostUnwrapper(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Mat1f& cost)
        : mPhase(phase), mCost(phase.size()), mPixels(new PIXELM[phase.total()]) {
        ForRowBands(phase.size(), {}, "", [&](const cv::Range& range) {
            for (int y = range.start; y < range.end; ++y) PrepareRow(usable[y], cost[y], y);
        });
    }

    Unwrapped Run(int minPixels, bool rejoin, const Progress& progress) {
        const int count = CountBands(mPhase);
        ForBands(progress, 0, [&](int band) { JoinSmooth(BandRows(mPhase, band)); });
        for (int band = 1; band < count; ++band) JoinSmoothBelow(BandRows(mPhase, band).start - 1);
        Flatten(progress);
        std::vector<EdgeList> edges(static_cast<std::size_t>(count));
        ForBands(progress, 0.2,
                 [&](int band) { CollectDear(BandRows(mPhase, band), edges[static_cast<std::size_t>(band)]); });
        ForBands(progress, 0.4, [&](int band) {
            const ReliabilityEdges sorted = Sorted(edges, {band, band + 1});
            edges[static_cast<std::size_t>(band)] = JoinDear(BandRows(mPhase, band), sorted);
        });
        const ReliabilityEdges left = Sorted(edges, {0, count});
        KrN::GatherGroups(left.edges.get(), static_cast<std::ptrdiff_t>(left.Count()), mPixels.get(), mPhase.cols,
                          kNever);
        Unwrapped result = Resolve(progress);
        if (rejoin) RejoinPieces(mCost, result.phase);
        SortComponents(result, minPixels);
        return result;
    }

private:
    // Excluded pixels have no finite cost.
    void PrepareRow(const std::uint8_t* usable, const float* cost, int y) {
        float* const to = mCost[y];
        const float* const phase = mPhase[y];
        for (int x = 0; x < mPhase.cols; ++x) {
            const float known = cost[x] < kLargestCost ? std::max(cost[x], 0.0f) : kLargestCost;
            to[x] = usable[x] && std::isfinite(phase[x]) ? known : INFINITY;
            mPixels[Index(y, x)] = {-1, 0};
        }
    }

    std::size_t Index(int y, int x) const {
        return static_cast<std::size_t>(y) * static_cast<std::size_t>(mPhase.cols) + static_cast<std::size_t>(x);
    }

    // The edge from (y, x) to the right or below; its key orders the costs.
    EDGE MakeEdge(int y, int x, bool below, float cost) const {
        const int wrap = KrN::FindWrap(mPhase(y, x), below ? mPhase(y + 1, x) : mPhase(y, x + 1));
        std::uint32_t key = 0;
        std::memcpy(&key, &cost, sizeof key);
        return EDGE::Make(key, Index(y, x), below, wrap);
    }

    void JoinSmooth(const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            JoinSmoothRow(y);
            if (y > rows.start) JoinSmoothBelow(y - 1);
        }
    }

    // No pixel of the row has been joined yet: each one is added to the group that ends to its left.
    void JoinSmoothRow(int y) {
        const float* const cost = mCost[y];
        PIXELM* const row = mPixels.get() + Index(y, 0);
        const auto first = static_cast<std::int32_t>(Index(y, 0));
        int head = 0;
        std::int32_t increment = 0;
        for (int x = 1; x < mPhase.cols; ++x) {
            if (cost[x - 1] + cost[x] <= kEqualCosts) {
                increment -= KrN::FindWrap(mPhase(y, x - 1), mPhase(y, x));
                row[x] = {first + head, increment};
                --row[head].group;
            } else {
                head = x;
                increment = 0;
            }
        }
    }

    // Where a row and the next one are joined at a pixel and run on beside one another, they stay joined.
    void JoinSmoothBelow(int y) {
        const float *const own = mCost[y], *const below = mCost[y + 1];
        bool joined = false;
        for (int x = 0; x < mPhase.cols; ++x) {
            joined = joined && own[x - 1] + own[x] <= kEqualCosts && below[x - 1] + below[x] <= kEqualCosts;
            if (own[x] + below[x] > kEqualCosts || joined) continue;
            Merge(MakeEdge(y, x, true, 0));
            joined = true;
        }
    }

    void Merge(EDGE edge) { KrN::MergeGroups(mPixels.get(), edge, mPhase.cols); }

    // Finds the groups of pixels, which are left as they are. Most pixels are led on by the same one as the pixel
    // before.
    class HeadFinder {
    public:
        explicit HeadFinder(const PIXELM* pixels) : mPixels(pixels) {}
        KrN::ReliabilityHead operator()(std::size_t pixel) {
            const PIXELM& own = mPixels[pixel];
            if (own.group < 0) return {static_cast<std::int32_t>(pixel), 0};
            if (own.group != mLeader) {
                mLeader = own.group;
                mHead = {own.group, 0};
                for (const PIXELM* p = mPixels + own.group; p->group >= 0; p = mPixels + mHead.pixel) {
                    mHead.increment += p->increment;
                    mHead.pixel = p->group;
                }
            }
            return {mHead.pixel, own.increment + mHead.increment};
        }

    private:
        const PIXELM* mPixels;
        std::int32_t mLeader = -1;
        KrN::ReliabilityHead mHead{};
    };

    // On all cores; the progress is asked between stretches of some million pixels.
    template <class Visit>
    void ForBands(const Progress& progress, double share, const Visit& visit) const {
        constexpr int kPixelsPerStretch = 1 << 23;
        const int count = CountBands(mPhase), stretch = kPixelsPerStretch / kBandRows / mPhase.cols + 1;
        for (int first = 0; first < count; first += stretch) {
            progress.Report("joining pixels", share + 0.2 * first / count);
            cv::parallel_for_({first, std::min(first + stretch, count)}, [&](const cv::Range& bands) {
                for (int band = bands.start; band < bands.end; ++band) visit(band);
            });
        }
    }

    // Makes all pixels lead to their heads directly, so that bands do not meet on the way.
    void Flatten(const Progress& progress) {
        std::unique_ptr<PIXELM[]> flat(new PIXELM[mPhase.total()]);
        ForBands(progress, 0.1, [&](int band) {
            const cv::Range rows = BandRows(mPhase, band);
            HeadFinder find(mPixels.get());
            for (std::size_t i = Index(rows.start, 0); i < Index(rows.end, 0); ++i) {
                const KrN::ReliabilityHead head = find(i);
                flat[i] = mPixels[i].group < 0 ? mPixels[i] : PIXELM{head.pixel, head.increment};
            }
        });
        mPixels = std::move(flat);
    }
    std::int32_t FlatHead(std::size_t pixel) const {
        const std::int32_t group = mPixels[pixel].group;
        return group < 0 ? static_cast<std::int32_t>(pixel) : group;
    }

    // Edges that are not smooth and lead to another group, those from the row above too.
    void CollectDear(const cv::Range& rows, EdgeList& edges) const {
        const auto add = [&](int y, int x, bool below, float cost) {
            if (!(cost > kEqualCosts && cost < INFINITY)) return;
            const std::size_t first = Index(y, x);
            const std::size_t second = below ? Index(y + 1, x) : first + 1;
            if (FlatHead(first) != FlatHead(second)) edges.push_back(MakeEdge(y, x, below, cost));
        };
        for (int y = std::max(rows.start - 1, 0); y < rows.end; ++y) {
            const float* const own = mCost[y];
            const float* const below = y + 1 < mPhase.rows ? mCost[y + 1] : nullptr;
            for (int x = 0; x < mPhase.cols; ++x) {
                if (y >= rows.start && x + 1 < mPhase.cols) add(y, x, false, own[x] + own[x + 1]);
                if (below) add(y, x, true, own[x] + below[x]);
            }
        }
    }

    // In the order of their keys; edges of the same key in that of the lists.
    static ReliabilityEdges Sorted(const std::vector<EdgeList>& lists, const cv::Range& which) {
        ReliabilityEdges edges;
        constexpr int shift = ReliabilityEdges::kBucketShift;
        std::vector<std::size_t> counts(ReliabilityEdges::kBuckets);
        const auto visit = [&](const auto& take) {
            for (auto i = which.start; i < which.end; ++i)
                for (const EDGE edge : lists[static_cast<std::size_t>(i)]) take(edge, edge.Key() >> shift);
        };
        visit([&](EDGE, std::size_t bucket) { ++counts[bucket]; });
        for (std::size_t i = 0; i < counts.size(); ++i) edges.bucket[i + 1] = edges.bucket[i] + counts[i];
        edges.edges.reset(new EDGE[edges.Count()]);
        auto place = edges.bucket;
        visit([&](EDGE edge, std::size_t bucket) { edges.edges[place[bucket]++] = edge; });
        KrN::SortEdges(edges, kNever);
        return edges;
    }

    // Returns what is left for the image as a whole.
    EdgeList JoinDear(const cv::Range& rows, const ReliabilityEdges& edges) {
        KrN::BandJoiner joiner(mPixels.get(), mPhase.cols, rows.start, rows.end);
        // Groups that run on into another band.
        const auto open = [&](int y, int inside) {
            for (int x = 0; x < mPhase.cols; ++x)
                if (mCost(y, x) + mCost(y + 1, x) <= kEqualCosts) joiner.Open(Index(inside, x));
        };
        if (rows.start > 0) open(rows.start - 1, rows.start);
        if (rows.end < mPhase.rows) open(rows.end - 1, rows.end - 1);
        return joiner.Join(edges.edges.get(), static_cast<std::ptrdiff_t>(edges.Count()));
    }

    Unwrapped Resolve(const Progress& progress) const {
        progress.Report("writing the phase", 0.9);
        Unwrapped result{cv::Mat1f(mPhase.size()), cv::Mat1i(mPhase.size()), {}};
        ForRowBands(mPhase.size(), {}, "", [&](const cv::Range& range) {
            HeadFinder find(mPixels.get());
            for (int y = range.start; y < range.end; ++y) {
                for (int x = 0; x < mPhase.cols; ++x) {
                    const bool valid = mCost(y, x) < INFINITY;
                    const KrN::ReliabilityHead head = valid ? find(Index(y, x)) : KrN::ReliabilityHead{-1, 0};
                    result.components(y, x) = head.pixel + 1;
                    result.phase(y, x) = valid ? mPhase(y, x) + 2 * kPi * static_cast<float>(head.increment) : NAN;
                }
            }
        });
        return result;
    }

    const cv::Mat1f& mPhase;
    cv::Mat1f mCost;  // infinite where excluded
    std::unique_ptr<PIXELM[]> mPixels;
};

}  // namespace

Unwrapped JoinByCost(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Mat1f& cost, int minPixels, bool rejoin,
                     const Progress& progress) {
    RequireOneSize({"the phase", phase}, {{"the mask", usable}, {"the cost", cost}});
    RequireNotNegative("the least number of pixels of a component", minPixels);
    if (phase.total() >= std::size_t{1} << 30) throw InputError("a phase of 2^30 or more pixels cannot be unwrapped");
    return CostUnwrapper(phase, usable, cost).Run(minPixels, rejoin, progress);
}

Unwrapped UnwrapByCost(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Mat1f& cost, int minPixels,
                       const Progress& progress) {
    return JoinByCost(phase, usable, cost, minPixels, true, progress);
}

}  // namespace measure
