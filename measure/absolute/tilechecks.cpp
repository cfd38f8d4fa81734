// What is wrong in a part of the picture only, and hardly shows in what is taken over all of it.
#include <algorithm>
#include <cmath>
#include <vector>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/base/quantile.h"

namespace measure {
namespace {

constexpr double kMostShare = 0.01;  // share of the usable pixels in parts that do not fit

// Sums over some usable pixels of a tile.
struct Tile {
    int count = 0;
    double squares = 0;                     // of the modulation
    double residuals = 0, differences = 0;  // squares of what the fit leaves, and of the difference of the means
};

std::vector<Tile> SumTiles(const DecodeState& state) {
    constexpr int kTile = 32, kAcross = 4, kDown = 8;
    const FringePhase& finest = state.Finest();
    const cv::Size size = state.usable.size();
    const int across = (size.width + kTile - 1) / kTile, down = (size.height + kTile - 1) / kTile;
    std::vector<Tile> tiles(static_cast<std::size_t>(across * down));
    const auto square = [](float value) { return static_cast<double>(value * value); };
    cv::parallel_for_(cv::Range(0, down), [&](const cv::Range& rows) {
        for (int y = rows.start * kTile; y < std::min(rows.end * kTile, size.height); y += kDown)
            for (int x = 0; x < size.width; x += kAcross) {
                if (!state.usable(y, x)) continue;
                Tile& tile = tiles[static_cast<std::size_t>(y / kTile * across + x / kTile)];
                ++tile.count;
                tile.squares += square(finest.modulation(y, x));
                if (!finest.residual.empty()) tile.residuals += square(finest.residual(y, x));
                float difference = 0;
                for (const FringePhase& set : state.fringes)
                    difference = std::max(difference, std::abs(set.mean(y, x) - finest.mean(y, x)));
                tile.differences += square(difference);
            }
    });
    constexpr int kFew = 12;
    tiles.erase(std::remove_if(tiles.begin(), tiles.end(), [](const Tile& tile) { return tile.count < kFew; }),
                tiles.end());
    return tiles;
}

}  // namespace

void CheckTiles(DecodeState& state) {
    constexpr double kMostResidual = 0.2, kMoreLevels = 1.5, kMostDifference = 0.45, kNoiseMargin = 1.4;
    const std::vector<Tile> tiles = SumTiles(state);
    if (tiles.empty()) return;
    const auto frames = static_cast<double>(state.Finest().shifts.size());
    const double noise = std::pow(kNoiseMargin * state.result.noise, 2);
    // The root of a sum, without what noise adds to it, relative to the modulation.
    const auto relative = [&](const Tile& tile, double sum, double noises) {
        return std::sqrt(std::max(0.0, sum - noises * noise * tile.count) / std::max(tile.squares, 1e-9));
    };
    const auto medianOf = [](std::vector<double> values) { return MedianOf(values); };  // of a copy, which it reorders
    std::vector<double> levels, residuals, differences;
    for (const Tile& tile : tiles) {
        levels.push_back(std::sqrt(tile.residuals / tile.count));
        residuals.push_back(relative(tile, tile.residuals, (frames - 3) / frames));
        differences.push_back(relative(tile, tile.differences, 2 / 3.0));
    }
    // Of the usable pixels.
    const auto shareIn = [&](const auto& isWrong) {
        double wrong = 0, all = 0;
        for (std::size_t i = 0; i < tiles.size(); ++i) {
            all += tiles[i].count;
            if (isWrong(i)) wrong += tiles[i].count;
        }
        return wrong / all;
    };
    const auto finest = static_cast<std::size_t>(state.result.finest);
    if (frames > 3 && !state.frames[finest].IsInDoubt()) {
        // Fringes that are no sines leave a residual everywhere, and noise one that does not depend on the modulation.
        const double level = kMoreLevels * medianOf(levels), limit = kMostResidual + medianOf(residuals);
        const double misfit = shareIn([&](std::size_t i) { return levels[i] > level && residuals[i] > limit; });
        const std::string name = NameOf(finest);
        Note(state.result,
             {name + ": share of the usable pixels in parts where the frames do not belong together", misfit,
              kMostShare, misfit <= kMostShare},
             name + cv::format(": in %.1f %% of the picture the frames do not belong together", 100 * misfit) +
                 ": did something move there, did the light change, or is it torn between two pictures?");
    }
    if (state.Count() < 2) return;
    const double changed = shareIn([&](std::size_t i) { return differences[i] > kMostDifference; });
    Note(state.result,
         {"share of the usable pixels in parts where the mean brightness of the sets differs", changed, kMostShare,
          changed <= kMostShare},
         cv::format("in %.1f %% of the picture the sets differ in their mean brightness", 100 * changed) +
             ": did something move there between them, or did the light change?");
}

}  // namespace measure
