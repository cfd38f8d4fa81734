// Bands of rows that are joined at the same time; ./dev tsan watches them. What they give is held against one pass over
// all edges where phases are unwrapped by cost.
#include "ipbase/unwrap/reliability/bandjoiner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>

namespace KrN {
namespace {

constexpr std::size_t kWidth = 70, kRows = 50, kBandRows = 16, kBands = 4, kTotal = kWidth * kRows;

// The edges of the grid; along some of them pixels are joined before.
struct Grid {
    std::vector<EDGE> edges, before;
    std::vector<PIXELM> pixels = std::vector<PIXELM>(kTotal, PIXELM{-1, 0});

    explicit Grid(unsigned seed) {
        std::mt19937 random(seed);
        for (std::size_t i = 0; i < kTotal; ++i)
            for (const bool below : {false, true}) {
                if (below ? i + kWidth >= kTotal : (i + 1) % kWidth == 0) continue;
                const EDGE edge =
                    EDGE::Make(static_cast<std::uint32_t>(random() >> 2), i, below, int(random() % 3) - 1);
                (random() % 4 ? edges : before).push_back(edge);
            }
        std::sort(edges.begin(), edges.end(), [](EDGE a, EDGE b) { return a.bits < b.bits; });
        for (const EDGE edge : before) MergeGroups(pixels.data(), edge, kWidth);
        for (std::size_t i = 0; i < kTotal; ++i) {  // all pixels lead to their heads directly
            const ReliabilityHead head = FindHead(pixels.data(), static_cast<std::int32_t>(i));
            if (pixels[i].group >= 0) pixels[i] = {head.pixel, head.increment};
        }
    }

    std::vector<EDGE> Join(std::size_t band, std::vector<PIXELM>& all) const {
        const auto isHere = [&](std::size_t pixel) { return pixel / kWidth / kBandRows == band; };
        const std::size_t first = band * kBandRows, end = std::min(first + kBandRows, kRows);
        BandJoiner joiner(all.data(), kWidth, static_cast<int>(first), static_cast<int>(end));
        for (const EDGE edge : before) {
            const std::size_t a = edge.First(), b = edge.Second(kWidth);
            if (isHere(a) != isHere(b)) joiner.Open(isHere(a) ? a : b);
        }
        std::vector<EDGE> own;
        std::copy_if(edges.begin(), edges.end(), std::back_inserter(own),
                     [&](EDGE edge) { return isHere(edge.First()) || isHere(edge.Second(kWidth)); });
        return joiner.Join(own.data(), static_cast<std::ptrdiff_t>(own.size()));
    }
};

TEST(BandJoiner, BandsDoNotMindOneAnother) {
    for (unsigned seed = 0; seed < 40; ++seed) {
        const Grid grid(seed);
        std::vector<PIXELM> together = grid.pixels, inTurn = grid.pixels;
        std::vector<EDGE> left[kBands];
        std::vector<std::thread> threads;
        for (std::size_t band = 0; band < kBands; ++band)
            threads.emplace_back([&, band] { left[band] = grid.Join(band, together); });
        for (std::thread& thread : threads) thread.join();
        for (std::size_t band = kBands; band-- > 0;) {
            const std::vector<EDGE> same = grid.Join(band, inTurn);
            ASSERT_TRUE(std::equal(same.begin(), same.end(), left[band].begin(), left[band].end(),
                                   [](EDGE a, EDGE b) { return a.bits == b.bits; }));
            EXPECT_LT(same.size(), grid.edges.size() / 16);  // most of the work is done in the bands
        }
        for (std::size_t i = 0; i < kTotal; ++i)
            ASSERT_TRUE(together[i].group == inTurn[i].group && together[i].increment == inTurn[i].increment) << i;
    }
}

}  // namespace
}  // namespace KrN
