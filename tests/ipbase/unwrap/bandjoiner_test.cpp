// Bands of rows that are joined at the same time, against one pass over all edges.
#include "ipbase/unwrap/reliability/bandjoiner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <thread>

namespace KrN {
namespace {

struct Grid {
    int width, height, bandRows;
    double usable;  // share of the pixels
    double joined;  // share of the edges along which pixels are joined before
    unsigned keys;  // few different ones make many edges equal
};

class BandTrial {
public:
    BandTrial(const Grid& grid, unsigned seed) : mGrid(grid), mRandom(seed), mPixels(Total(), PIXELM{-1, 0}) {
        std::vector<bool> usable(Total());
        for (auto&& pixel : usable) pixel = Chance(grid.usable);
        for (std::size_t i = 0; i < Total(); ++i) {
            for (const bool below : {false, true}) {
                const bool exists = below ? i + Width() < Total() : (i + 1) % Width() != 0;
                if (!exists || !usable[i] || !usable[i + (below ? Width() : 1)]) continue;
                const EDGE edge = EDGE::Make(static_cast<std::uint32_t>(mRandom() % grid.keys), i, below,
                                             static_cast<int>(mRandom() % 3) - 1);
                Chance(grid.joined) ? static_cast<void>(MergeGroups(mPixels.data(), edge, grid.width))
                                    : mEdges.push_back(edge);
            }
        }
        std::sort(mEdges.begin(), mEdges.end(), Precedes);
        for (std::size_t i = 0; i < Total(); ++i) {  // all pixels lead to their heads directly
            const ReliabilityHead head = HeadOf(mPixels, i);
            if (mPixels[i].group >= 0) mPixels[i] = {head.pixel, head.increment};
        }
    }

    void Compare() const {
        std::vector<PIXELM> together = mPixels, banded = mPixels;
        Gather(mEdges, together);
        const std::vector<EDGE> left = JoinBands(banded);
        Gather(left, banded);
        std::map<std::int32_t, ReliabilityHead> heads, headsBack;
        for (std::size_t i = 0; i < Total(); ++i) {
            const ReliabilityHead a = HeadOf(together, i), b = HeadOf(banded, i);
            const auto [found, isNew] = heads.emplace(a.pixel, ReliabilityHead{b.pixel, a.increment - b.increment});
            ASSERT_EQ(found->second.pixel, b.pixel) << i;
            ASSERT_EQ(found->second.increment, a.increment - b.increment) << i;
            ASSERT_EQ(headsBack.emplace(b.pixel, a).first->second.pixel, a.pixel) << i;
        }
        // Most of the work is done in the bands.
        EXPECT_TRUE(mGrid.bandRows <= 8 || mEdges.size() < 1000 || left.size() < mEdges.size() / 2) << left.size();
    }

private:
    static bool Precedes(EDGE a, EDGE b) { return a.bits < b.bits; }
    std::size_t Width() const { return static_cast<std::size_t>(mGrid.width); }
    std::size_t Total() const { return Width() * static_cast<std::size_t>(mGrid.height); }
    bool Chance(double share) { return std::uniform_real_distribution<>()(mRandom) < share; }
    static ReliabilityHead HeadOf(std::vector<PIXELM>& pixels, std::size_t i) {
        return FindHead(pixels.data(), static_cast<std::int32_t>(i));
    }
    void Gather(const std::vector<EDGE>& edges, std::vector<PIXELM>& pixels) const {
        GatherGroups(edges.data(), static_cast<std::ptrdiff_t>(edges.size()), pixels.data(), mGrid.width,
                     AbortFlag(nullptr));
    }
    int BandOf(std::size_t pixel) const { return static_cast<int>(pixel / Width()) / mGrid.bandRows; }

    std::vector<EDGE> JoinBands(std::vector<PIXELM>& pixels) const {
        std::map<std::int32_t, std::pair<int, int>> reach;  // from the first to the last band of a group
        for (std::size_t i = 0; i < Total(); ++i) {
            const std::int32_t head = pixels[i].group < 0 ? static_cast<std::int32_t>(i) : pixels[i].group;
            auto& bands = reach.emplace(head, std::pair(BandOf(i), BandOf(i))).first->second;
            bands = {std::min(bands.first, BandOf(i)), std::max(bands.second, BandOf(i))};
        }
        const auto spansBands = [&](std::size_t i) {
            const PIXELM pixel = mPixels[i];
            const auto& bands = reach.at(pixel.group < 0 ? static_cast<std::int32_t>(i) : pixel.group);
            return bands.first != bands.second;
        };
        const int count = (mGrid.height + mGrid.bandRows - 1) / mGrid.bandRows;
        std::vector<std::vector<EDGE>> left(static_cast<std::size_t>(count));
        std::vector<std::thread> threads;
        for (int band = 0; band < count; ++band) {
            threads.emplace_back([&, band] {
                const int first = band * mGrid.bandRows, end = std::min(first + mGrid.bandRows, mGrid.height);
                BandJoiner joiner(pixels.data(), mGrid.width, first, end);
                for (std::size_t i = static_cast<std::size_t>(first) * Width();
                     i < static_cast<std::size_t>(end) * Width(); ++i)
                    if (spansBands(i)) joiner.Open(i);
                std::vector<EDGE> own;
                std::copy_if(mEdges.begin(), mEdges.end(), std::back_inserter(own), [&](EDGE edge) {
                    return BandOf(edge.First()) == band || BandOf(edge.Second(mGrid.width)) == band;
                });
                left[static_cast<std::size_t>(band)] = joiner.Join(own.data(), static_cast<std::ptrdiff_t>(own.size()));
            });
        }
        std::vector<EDGE> all;
        for (std::size_t band = 0; band < threads.size(); ++band) {
            threads[band].join();
            all.insert(all.end(), left[band].begin(), left[band].end());
        }
        std::sort(all.begin(), all.end(), Precedes);
        return all;
    }

    const Grid mGrid;
    std::mt19937 mRandom;
    std::vector<PIXELM> mPixels;
    std::vector<EDGE> mEdges;
};

TEST(BandJoiner, GivesWhatOnePassGives) {
    const Grid grids[] = {
        {70, 50, 16, 1, 0, 1u << 30},
        {70, 50, 16, 0.8, 0.3, 1u << 30},
        {40, 12, 1, 0.9, 0.2, 1u << 30},
        {40, 13, 2, 0.7, 0.5, 5},
        {70, 50, 50, 0.9, 0.2, 1000},
        {1, 60, 7, 0.9, 0.2, 100},
        {60, 3, 1, 1, 0, 1},
        {70, 50, 16, 0.5, 0.3, 1u << 30},
        {30, 20, 5, 0, 0, 1},
        {70, 50, 16, 0.9, 0.9, 1u << 30},
    };
    for (const Grid& grid : grids)
        for (unsigned seed = 0; seed < 8; ++seed) {
            SCOPED_TRACE(testing::Message()
                         << grid.width << " x " << grid.height << ", bands of " << grid.bandRows << ", seed " << seed);
            BandTrial(grid, seed).Compare();
            if (testing::Test::HasFatalFailure()) return;
        }
}

}  // namespace
}  // namespace KrN
