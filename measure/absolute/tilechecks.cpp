// What is wrong in a part of the picture only, and hardly shows in what is taken over all of it.
#include <algorithm>
#include <cmath>
#include <vector>

#include "measure/absolute/causes.h"
#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/growthrows.h"
#include "measure/absolute/picturepair.h"
#include "measure/absolute/tilegrid.h"
#include "measure/base/quantile.h"
#include "measure/unwrap.h"

namespace measure {
namespace {

constexpr double kNoiseMargin = 1.4;  // of its deviation, which differs from part to part
constexpr double kMostShare = 0.01;   // share of the usable pixels in parts that do not fit

struct Tile {
    cv::Rect place;
    int count = 0;  // pixels that were looked at
};

// Sums over some pixels of each tile, visit(sum of the tile, y, x); without tiles of few pixels.
template <class Sum, class Visit>
std::vector<Sum> SumTiles(cv::Size size, const Visit& visit) {
    constexpr int kTile = TileGrid::kTile, kFew = 12;
    const int across = (size.width + kTile - 1) / kTile, down = (size.height + kTile - 1) / kTile;
    std::vector<Sum> tiles(static_cast<std::size_t>(across * down));
    cv::parallel_for_(cv::Range(0, down), [&](const cv::Range& rows) {
        for (int i = rows.start * across; i < rows.end * across; ++i) {
            Sum& tile = tiles[static_cast<std::size_t>(i)];
            tile.place = cv::Rect(i % across * kTile, i / across * kTile, kTile, kTile) & cv::Rect({}, size);
            for (int y = tile.place.y; y < tile.place.br().y; y += TileGrid::kDown)
                for (int x = tile.place.x; x < tile.place.br().x; x += TileGrid::kAcross) visit(tile, y, x);
        }
    });
    tiles.erase(std::remove_if(tiles.begin(), tiles.end(), [](const Sum& tile) { return tile.count < kFew; }),
                tiles.end());
    return tiles;
}

// Of the pixels in all tiles, the share of those in tiles that are wrong.
template <class Sum, class IsWrong>
double ShareIn(const std::vector<Sum>& tiles, const IsWrong& isWrong) {
    double wrong = 0, all = 0;
    for (std::size_t i = 0; i < tiles.size(); ++i) {
        all += tiles[i].count;
        if (isWrong(i)) wrong += tiles[i].count;
    }
    return wrong / std::max(all, 1.0);
}

struct Misfits : Tile {
    double squares = 0;                     // of the modulation
    double residuals = 0, differences = 0;  // squares of what the fit leaves, and of the difference of the means
};

std::vector<Misfits> SumMisfits(const DecodeState& state) {
    const FringePhase& finest = state.Finest();
    const auto square = [](float value) { return static_cast<double>(value * value); };
    return SumTiles<Misfits>(state.usable.size(), [&](Misfits& tile, int y, int x) {
        if (!state.usable(y, x)) return;
        ++tile.count;
        tile.squares += square(finest.modulation(y, x));
        if (!finest.residual.empty()) tile.residuals += square(finest.residual(y, x));
        float difference = 0;
        const Means& own = state.FinestMeans();
        const float mean = own.At(y, x);
        for (const Means& set : state.means)
            if (&set != &own) difference = std::max(difference, std::abs(set.At(y, x) - mean));
        tile.differences += square(difference);
    });
}

// Between the mean of a pair of pictures and that of the fringes.
struct Differences : Tile {
    cv::Matx22d terms;
    cv::Vec2d products;
    double squares = 0;

    void Add(double modulation, double difference) {
        const cv::Vec2d of(modulation, 1);
        ++count;
        terms += of * of.t();
        products += of * difference;
        squares += difference * difference;
    }
    double SquaredModulations() const { return terms(0, 0); }
    // What is left of the squares when a multiple of the modulation and a constant explain as much as they can. Another
    // exposure differs by these, other light in the room, a curve of the camera, and light that comes from other parts
    // of the scene, which is not the same under fringes and code, nearly so in a small part of the picture.
    double SquaresLeft() const {
        cv::Vec2d light;
        cv::solve(terms, products, light, cv::DECOMP_SVD);
        return squares - products.dot(light);
    }
};

std::vector<Differences> SumDifferences(const DecodeState& state, const PicturePair& pair) {
    const FringePhase& finest = state.Finest();
    const float saturated = state.SaturatedLevel();
    return SumTiles<Differences>(state.usable.size(), [&](Differences& tile, int y, int x) {
        if (!state.usable(y, x) || !pair.IsInRange(y, x, saturated)) return;
        tile.Add(static_cast<double>(finest.modulation(y, x)),
                 static_cast<double>(pair.MeanAt(y, x) - state.FinestMeans().At(y, x)));
    });
}

}  // namespace

void CheckTiles(DecodeState& state) {
    constexpr double kMostResidual = 0.2, kMoreLevels = 1.5, kMostDifference = 0.35;
    const std::vector<Misfits> tiles = SumMisfits(state);
    if (tiles.empty()) return;
    const auto frames = static_cast<double>(state.Finest().shifts.size());
    const double noise = std::pow(kNoiseMargin * state.result.noise, 2);
    // The root of a sum, without what noise adds to it, relative to the modulation.
    const auto relative = [&](const Misfits& tile, double sum, double noises) {
        return std::sqrt(std::max(0.0, sum - noises * noise * tile.count) / std::max(tile.squares, 1e-9));
    };
    const auto medianOf = [](std::vector<double> values) { return MedianOf(values); };  // of a copy, which it reorders
    std::vector<double> levels, residuals, differences, modulations;
    for (const Misfits& tile : tiles) {
        levels.push_back(std::sqrt(tile.residuals / tile.count));
        residuals.push_back(relative(tile, tile.residuals, (frames - 3) / frames));
        differences.push_back(relative(tile, tile.differences, 2 / 3.0));
        modulations.push_back(std::sqrt(tile.squares / tile.count));
    }
    const auto finest = static_cast<std::size_t>(state.result.finest);
    if (frames > 3 && !state.frames[finest].IsInDoubt()) {
        // Fringes that are no sines leave a residual everywhere, which noise hides where there is little modulation,
        // and noise one that does not depend on the modulation.
        std::vector<double> ofBright;
        const double bright = medianOf(modulations);
        for (std::size_t i = 0; i < tiles.size(); ++i)
            if (modulations[i] >= bright) ofBright.push_back(residuals[i]);
        const double level = kMoreLevels * medianOf(levels), limit = kMostResidual + medianOf(ofBright);
        const double misfit = ShareIn(tiles, [&](std::size_t i) { return levels[i] > level && residuals[i] > limit; });
        const std::string name = NameOf(finest);
        Note(state.result,
             {name + ": share of the usable pixels in parts where the frames do not belong together", misfit,
              kMostShare, misfit <= kMostShare},
             name + cv::format(": in %.1f %% of the picture the frames do not belong together", 100 * misfit) +
                 ": did something move there, did the light change, or is it torn between two pictures?");
    }
    if (state.Count() < 2) return;
    const double changed = ShareIn(tiles, [&](std::size_t i) { return differences[i] > kMostDifference; });
    const std::string curve = changed > kMostShare ? FindCurve(state) : "";
    Note(state.result,
         {"share of the usable pixels in parts where the mean brightness of the sets differs", changed, kMostShare,
          changed <= kMostShare},
         cv::format("in %.1f %% of the picture the sets differ in their mean brightness", 100 * changed) +
             (curve.empty() ? ": did something move there between them, or did the light change?" : ", " + curve));
}

void CheckPairTiles(DecodeState& state) {
    // Of real scans, light that comes from other parts of the scene makes 0.003 of the picture differ so much.
    constexpr double kMostDifference = 0.16, kMostDiffering = 0.02;
    const std::optional<PicturePair> pair = FindPair(state.pictures);
    if (!pair) return;
    const std::vector<Differences> tiles = SumDifferences(state, *pair);
    const double noises = 0.5 + 1 / static_cast<double>(state.Finest().shifts.size()),
                 noise = noises * std::pow(kNoiseMargin * state.result.noise, 2);
    const double differing = ShareIn(tiles, [&](std::size_t i) {
        const double allowed = std::pow(kMostDifference, 2) * tiles[i].SquaredModulations() + noise * tiles[i].count;
        return tiles[i].SquaresLeft() > allowed;
    });
    Note(state.result,
         {"share of the usable pixels in parts where the mean brightness of " + std::string(pair->name) +
              " is not that of the fringes",
          differing, kMostDiffering, differing <= kMostDiffering},
         cv::format("in %.1f %% of the picture %s and the fringes differ in their mean brightness", 100 * differing,
                    pair->name) +
             ": did something move there, or did the light change?");
}

double ShareOfTornParts(const DecodeState& state, const cv::Mat1f& phase, const OwnOrders& orders,
                        const GrownOrders& grown) {
    constexpr double kSome = 0.1;
    constexpr int kFewJumps = 5;
    // Of three sets or more, ripple that remains may by itself make a third of the pixels choose another order.
    const double many = state.Count() > 2 ? 0.4 : 0.25;
    const rows::Repeat every(state.result.repeat);
    struct Corrections : Tile {
        int corrected = 0;
    };
    const auto readable = static_cast<float>(state.ReadableModulation());
    const cv::Mat1f& modulation = state.Finest().modulation;
    const auto look = [&](Corrections& tile, int y, int x) {
        if (!grown.mask(y, x)) return;
        ++tile.count;
        if (modulation(y, x) < readable) return;
        const float own = phase(y, x) + kRadiansPerPeriod * static_cast<float>(orders.order(y, x));
        const float absolute = grown.absolute(y, x);
        tile.corrected += std::abs(absolute - own) > 1 && orders.clear(y, x) && !every.AreSame(absolute, own);
    };
    const auto isTorn = [&](const cv::Rect& place) {
        Corrections all;
        for (int y = place.y; y < place.br().y; ++y)
            for (int x = place.x; x < place.br().x; ++x) look(all, y, x);
        const cv::Rect around(place.tl() - cv::Point(place.size()), place.br() + cv::Point(place.size()));
        return all.corrected > many * all.count &&
               FindJumps(grown.absolute(around & cv::Rect({}, phase.size()))).count > kFewJumps;
    };
    const auto tiles = SumTiles<Corrections>(phase.size(), look);
    return ShareIn(
        tiles, [&](std::size_t i) { return tiles[i].corrected > kSome * tiles[i].count && isTorn(tiles[i].place); });
}

double ShareOfMisfits(const cv::Mat1f& deviations, const cv::Mat1b& mask) {
    constexpr float kFar = 8;  // deviations; edges have a few pixels that are off by any number of them
    constexpr double kMost = 4.25, kMoreThanElsewhere = 3;  // ripple that remains leaves some everywhere
    struct Misfitting : Tile {
        double deviations = 0;
        double Mean() const { return deviations / count; }
    };
    const auto tiles = SumTiles<Misfitting>(mask.size(), [&](Misfitting& tile, int y, int x) {
        if (!mask(y, x)) return;
        ++tile.count;
        const float deviation = deviations(TileGrid::RowOf(y), TileGrid::ColumnOf(x));
        tile.deviations += static_cast<double>(std::min(deviation, kFar));
    });
    if (tiles.empty()) return 0;
    std::vector<double> means;
    for (const Misfitting& tile : tiles) means.push_back(tile.Mean());
    const double most = std::max(kMost, kMoreThanElsewhere * MedianOf(means));
    return ShareIn(tiles, [&](std::size_t i) { return tiles[i].Mean() > most; });
}

}  // namespace measure
