#include "measure/fringe/usabletiles.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>

#include "measure/fringe/harmonicrows.h"
#include "measure/fringe/neighboursums.h"

namespace measure {
namespace {

constexpr float kNear = 3;     // times the limit, and as part of it
constexpr float kFlat = 0.2f;  // radians per pixel that hardly matter

rows::ThreeRows From(const rows::ThreeRows& rows, int x) { return {rows.above + x, rows.own + x, rows.below + x}; }

}  // namespace

UsableTiles::UsableTiles(FringePhase& phase)
    : mPhase(phase),
      mLimits(phase.limits),
      mLeast(mLimits.modulation / kNear),
      mMost(mLimits.modulation * kNear),
      mAcross((phase.phase.cols + kTile - 1) / kTile),
      mDown((phase.phase.rows + kTile - 1) / kTile),
      mIsNear(phase.phase.rows, mAcross) {}

void UsableTiles::Look(int y) {
    rows::FindWithin(mPhase.modulation[y], mLeast, mMost, kTile, mIsNear[y],
                     static_cast<std::size_t>(mPhase.phase.cols));
}

void UsableTiles::Add(bool withSlope) const {
    const cv::Rect image({}, mPhase.phase.size()), looks({}, mIsNear.size());
    cv::parallel_for_(cv::Range(0, mAcross * mDown), [&](const cv::Range& tiles) {
        for (int i = tiles.start; i < tiles.end; ++i) {
            const cv::Rect tile(i % mAcross * kTile, i / mAcross * kTile, kTile, kTile);
            if (cv::countNonZero(mIsNear(cv::Rect(i % mAcross, tile.y, 1, kTile) & looks)) == 0) continue;
            const std::optional<cv::Vec2f> slope = MeanSlope(tile & image);
            if (!slope) continue;
            if (withSlope) AddOf(tile & image, {0, 0});
            if (std::max(std::abs((*slope)[0]), std::abs((*slope)[1])) >= kFlat) AddOf(tile & image, *slope);
        }
    });
}

void UsableTiles::AddOf(const cv::Rect& tile, const cv::Vec2f& slope) const {
    std::array<std::uint8_t, kTile> reach{};
    const auto width = static_cast<std::size_t>(tile.width);
    VisitRows(tile, slope, [&](int y, const rows::Neighbourhood& around) {
        rows::MarkUsable(mPhase.mean[y] + tile.x, mPhase.modulation[y] + tile.x, mPhase.saturated[y] + tile.x, around,
                         mLimits, reach.data(), width);
        std::uint8_t* const usable = mPhase.usable[y] + tile.x;
        for (std::size_t x = 0; x < width; ++x) usable[x] |= reach[x];
    });
}

// Radians per pixel, across and down, of the pixels whose modulation is near the limit; nothing for noise.
std::optional<cv::Vec2f> UsableTiles::MeanSlope(const cv::Rect& tile) const {
    constexpr int kStep = 7;  // some hundred pixels tell it
    constexpr float kClear = 0.5f;
    std::complex<float> across, down;
    int count = 0;
    const auto add = [&](cv::Point a, cv::Point b, std::complex<float>& sum) {
        if (!IsNear(mPhase.modulation(a)) || !IsNear(mPhase.modulation(b))) return;
        sum += std::polar(1.0f, mPhase.phase(b) - mPhase.phase(a));
        ++count;
    };
    for (int y = tile.y; y + 1 < tile.br().y; y += kStep) {
        for (int x = tile.x; x + 1 < tile.br().x; x += kStep) {
            add({x, y}, {x + 1, y}, across);
            add({x, y}, {x, y + 1}, down);
        }
    }
    if (std::abs(across) + std::abs(down) <= kClear * static_cast<float>(count)) return {};
    return cv::Vec2f(std::arg(across), std::arg(down));
}

template <class Visit>
void UsableTiles::VisitRows(const cv::Rect& tile, const cv::Vec2f& slope, const Visit& visit) const {
    const int height = mPhase.phase.rows;
    const int left = std::max(tile.x - 1, 0), right = std::min(tile.br().x + 1, mPhase.phase.cols);
    const auto width = static_cast<std::size_t>(right - left);
    NeighbourSums cosines({right - left, height}), sines({right - left, height});
    std::array<float, kTile + 2> c{}, s{};
    const auto load = [&](int y) {
        const rows::Ramp ramp{slope[0], slope[1] * static_cast<float>(y - tile.y)};
        rows::PhasorOf(mPhase.phase[y] + left, mPhase.modulation[y] + left, ramp, c.data(), s.data(), width);
        cosines.Load(y, c.data());
        sines.Load(y, s.data());
    };
    load(std::max(tile.y - 1, 0));
    load(tile.y);
    for (int y = tile.y; y < tile.br().y; ++y) {
        if (y + 1 < height) load(y + 1);
        visit(y, rows::Neighbourhood{From(cosines.Around(y), tile.x - left), From(sines.Around(y), tile.x - left)});
    }
}

}  // namespace measure
