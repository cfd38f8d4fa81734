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

UsableTiles::UsableTiles(FringePhase& phase, const rows::Gain& gain)
    : mPhase(phase),
      mGain(gain),
      mLimits(phase.limits),
      mLeast(mLimits.modulation / kNear),
      mMost(mLimits.modulation * kNear),
      mAcross((phase.phase.cols + kTile - 1) / kTile),
      mDown((phase.phase.rows + kTile - 1) / kTile),
      mIsNear(phase.phase.rows, mAcross) {}

void UsableTiles::Look(int y) {
    rows::FindWithin(mPhase.modulation[y], mLeast / mGain.most, mMost / mGain.least, kTile, mIsNear[y],
                     static_cast<std::size_t>(mPhase.phase.cols));
}

void UsableTiles::Add(bool withSlope) const {
    const cv::Rect image({}, mPhase.phase.size());
    cv::parallel_for_(cv::Range(0, mAcross * mDown), [&](const cv::Range& tiles) {
        for (int i = tiles.start; i < tiles.end; ++i) {
            const cv::Rect square(i % mAcross * kTile, i / mAcross * kTile, kTile, kTile);
            if (!IsNear(i % mAcross, square.y)) continue;
            const cv::Rect around = (square + cv::Size(2, 2) - cv::Point(1, 1)) & image;
            const Tile tile{square & image, around, FreedModulation(around)};
            const std::optional<cv::Vec2f> slope = MeanSlope(tile);
            if (!slope) continue;
            if (withSlope) AddOf(tile, {0, 0});
            if (std::max(std::abs((*slope)[0]), std::abs((*slope)[1])) >= kFlat) AddOf(tile, *slope);
        }
    });
}

bool UsableTiles::IsNear(int column, int top) const {
    int isNear = 0;
    for (int y = top; y < std::min(top + kTile, mIsNear.rows) && !isNear; ++y) isNear = mIsNear(y, column);
    return isNear != 0;
}

cv::Mat1f UsableTiles::FreedModulation(const cv::Rect& part) const {
    const cv::Mat1f measured = mPhase.modulation(part), phase = mPhase.phase(part);
    if (mGain.least == mGain.most) return measured;
    cv::Mat1f freed(part.size());
    for (int y = 0; y < part.height; ++y)
        rows::Multiply(mGain, phase[y], measured[y], freed[y], static_cast<std::size_t>(part.width));
    return freed;
}

void UsableTiles::AddOf(const Tile& tile, const cv::Vec2f& slope) const {
    std::array<std::uint8_t, kTile> reach{};
    const int left = tile.inside.x;
    const auto width = static_cast<std::size_t>(tile.inside.width);
    VisitRows(tile, slope, [&](int y, const rows::Neighbourhood& around) {
        const float* const modulation = tile.modulation[y - tile.around.y] + left - tile.around.x;
        rows::MarkUsable(mPhase.mean[y] + left, modulation, mPhase.saturated[y] + left, around, mLimits, reach.data(),
                         width);
        std::uint8_t* const usable = mPhase.usable[y] + left;
        for (std::size_t x = 0; x < width; ++x) usable[x] |= reach[x];
    });
}

// Radians per pixel, across and down, of the pixels whose modulation is near the limit; nothing for noise.
std::optional<cv::Vec2f> UsableTiles::MeanSlope(const Tile& tile) const {
    constexpr int kStep = 7;  // some hundred pixels tell it
    constexpr float kClear = 0.5f;
    const cv::Mat1f phase = mPhase.phase(tile.around);
    const auto isNear = [&](cv::Point at) { return tile.modulation(at) >= mLeast && tile.modulation(at) < mMost; };
    std::complex<float> across, down;
    int count = 0;
    const auto add = [&](cv::Point a, cv::Point b, std::complex<float>& sum) {
        if (!isNear(a) || !isNear(b)) return;
        sum += std::polar(1.0f, phase(b) - phase(a));
        ++count;
    };
    const cv::Rect inside = tile.inside - tile.around.tl();
    for (int y = inside.y; y + 1 < inside.br().y; y += kStep) {
        for (int x = inside.x; x + 1 < inside.br().x; x += kStep) {
            add({x, y}, {x + 1, y}, across);
            add({x, y}, {x, y + 1}, down);
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
