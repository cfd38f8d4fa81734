#include "measure/fringe/usabletiles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>

#include "measure/fringe/neighboursums.h"

namespace measure {
namespace {

constexpr float kNear = 3;     // times the limit, and as part of it
constexpr float kFlat = 0.2f;  // radians per pixel that hardly matter

rows::ThreeRows From(const rows::ThreeRows& rows, int x) { return {rows.above + x, rows.own + x, rows.below + x}; }

}  // namespace

UsableTiles::UsableTiles(FringePhase& phase, const Means& means, const rows::Gain& gain)
    : mPhase(phase),
      mMeans(means),
      mGain(gain),
      mLimits(phase.limits),
      mLeast(mLimits.modulation / kNear),
      mMost(mLimits.modulation * kNear) {}

void UsableTiles::Add(bool withSlope) const {
    const cv::Rect image({}, mPhase.phase.size());
    const int across = (image.width + kTile - 1) / kTile, down = (image.height + kTile - 1) / kTile;
    cv::parallel_for_(cv::Range(0, across * down), [&](const cv::Range& tiles) {
        for (int i = tiles.start; i < tiles.end; ++i) {
            const cv::Rect square = cv::Rect(i % across * kTile, i / across * kTile, kTile, kTile) & image;
            const std::optional<cv::Vec2f> slope = MeanSlope(square);
            if (!slope) continue;
            const bool isFlat = std::max(std::abs((*slope)[0]), std::abs((*slope)[1])) < kFlat;
            if (isFlat && !withSlope) continue;
            const cv::Rect candidates = FindCandidates(square);
            if (candidates.empty()) continue;
            const Tile part = TileOf(candidates);
            if (withSlope) AddOf(part, {0, 0});
            if (!isFlat) AddOf(part, *slope);
        }
    });
}

UsableTiles::Tile UsableTiles::TileOf(const cv::Rect& inside) const {
    const cv::Rect around = (inside + cv::Size(2, 2) - cv::Point(1, 1)) & cv::Rect({}, mPhase.phase.size());
    cv::Mat1f freed(around.size());
    for (int y = 0; y < around.height; ++y) FreeModulation(around.y + y, around.x, around.width, freed[y]);
    return {inside, around, freed};
}

void UsableTiles::FreeModulation(int y, int left, int count, float* freed) const {
    rows::Multiply(mGain, mPhase.phase[y] + left, mPhase.modulation[y] + left, freed, static_cast<std::size_t>(count));
}

cv::Rect UsableTiles::FindCandidates(const cv::Rect& square) const {
    rows::Limits limits = mLimits;
    limits.modulation /= mGain.most;
    std::array<std::uint8_t, kTile> marks{};
    std::array<float, kTile> buffer;
    const auto width = static_cast<std::size_t>(square.width);
    int top = square.br().y, bottom = square.y;
    for (int y = square.y; y < square.br().y; ++y) {
        const std::uint8_t *saturated = mPhase.saturated[y] + square.x, *usable = mPhase.usable[y] + square.x;
        const float* const modulation = mPhase.modulation[y] + square.x;
        if (!rows::MayHaveCandidates(modulation, saturated, usable, limits, width)) continue;
        const float* const mean = mMeans.Row(y, square.x, square.width, buffer.data());
        if (!rows::MarkCandidates(mean, modulation, saturated, usable, limits, marks.data(), width)) continue;
        top = std::min(top, y);
        bottom = y + 1;
    }
    if (top >= bottom) return {};
    const auto isMarked = [](std::uint8_t mark) { return mark != 0; };
    const auto left = std::find_if(marks.begin(), marks.end(), isMarked);
    const auto right = std::find_if(marks.rbegin(), marks.rend(), isMarked).base();
    return {square.x + static_cast<int>(left - marks.begin()), top, static_cast<int>(right - left), bottom - top};
}

void UsableTiles::AddOf(const Tile& tile, const cv::Vec2f& slope) const {
    std::array<std::uint8_t, kTile> reach{};
    std::array<float, kTile> buffer;
    const int left = tile.inside.x;
    const auto width = static_cast<std::size_t>(tile.inside.width);
    VisitRows(tile, slope, [&](int y, const rows::Neighbourhood& around) {
        const float* const modulation = tile.modulation[y - tile.around.y] + left - tile.around.x;
        const float* const mean = mMeans.Row(y, left, tile.inside.width, buffer.data());
        rows::MarkUsable(mean, modulation, mPhase.saturated[y] + left, around, mLimits, reach.data(), width);
        std::uint8_t* const usable = mPhase.usable[y] + left;
        for (std::size_t x = 0; x < width; ++x) usable[x] |= reach[x];
    });
}

// Radians per pixel, across and down, of the pixels whose modulation is near the limit; nothing without such pixels,
// or for noise.
std::optional<cv::Vec2f> UsableTiles::MeanSlope(const cv::Rect& square) const {
    constexpr int kStep = 7;  // some hundred pixels tell it
    constexpr float kClear = 0.5f;
    const auto isNear = [&](float modulation) { return modulation >= mLeast && modulation < mMost; };
    std::complex<float> across, down;
    int count = 0;
    const auto add = [&](float a, float b, float step, std::complex<float>& sum) {
        if (!isNear(a) || !isNear(b)) return;
        sum += std::polar(1.0f, step);
        ++count;
    };
    const auto mayBeNear = [&](const float* modulation) {
        for (int x = 0; x + 1 < square.width; x += kStep)
            if (modulation[x] >= mLeast / mGain.most && modulation[x] < mMost / mGain.least) return true;
        return false;
    };
    std::array<float, kTile> own, below;
    for (int y = square.y; y + 1 < square.br().y; y += kStep) {
        if (!mayBeNear(mPhase.modulation[y] + square.x)) continue;
        FreeModulation(y, square.x, square.width, own.data());
        FreeModulation(y + 1, square.x, square.width, below.data());
        const float *phase = mPhase.phase[y] + square.x, *phaseBelow = mPhase.phase[y + 1] + square.x;
        for (std::size_t x = 0; x + 1 < static_cast<std::size_t>(square.width); x += kStep) {
            add(own[x], own[x + 1], phase[x + 1] - phase[x], across);
            add(own[x], below[x], phaseBelow[x] - phase[x], down);
        }
    }
    if (std::abs(across) + std::abs(down) <= kClear * static_cast<float>(count)) return {};
    return cv::Vec2f(std::arg(across), std::arg(down));
}

template <class Visit>
void UsableTiles::VisitRows(const Tile& tile, const cv::Vec2f& slope, const Visit& visit) const {
    const int height = mPhase.phase.rows;
    const cv::Rect &inside = tile.inside, &around = tile.around;
    const auto width = static_cast<std::size_t>(around.width);
    NeighbourSums cosines({around.width, height}), sines({around.width, height});
    std::array<float, kTile + 2> c{}, s{};
    const auto load = [&](int y) {
        const rows::Ramp ramp{slope[0], slope[1] * static_cast<float>(y - inside.y)};
        rows::PhasorOf(mPhase.phase[y] + around.x, tile.modulation[y - around.y], ramp, c.data(), s.data(), width);
        cosines.Load(y, c.data());
        sines.Load(y, s.data());
    };
    load(around.y);
    load(inside.y);
    for (int y = inside.y; y < inside.br().y; ++y) {
        if (y + 1 < height) load(y + 1);
        const int left = inside.x - around.x;
        visit(y, rows::Neighbourhood{From(cosines.Around(y), left), From(sines.Around(y), left)});
    }
}

}  // namespace measure
