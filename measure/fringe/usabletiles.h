#pragma once

#include <opencv2/core.hpp>
#include <optional>

#include "measure/fringe.h"
#include "measure/fringe/harmonicrows.h"
#include "measure/fringe/means.h"
#include "measure/fringe/phaserows.h"

namespace measure {

// Judges the modulation where that takes a closer look: in tiles of the image where that of a pixel is near the limit.
// Fine fringes cancel in the mean of 3 x 3 pixels, by a fifth at 8 pixels per period and two thirds at 4; a pixel may
// therefore also reach the limit after the mean slope of the phase in its tile is taken off. Where the phase of the
// pixels near the limit is all noise nothing is changed: freed of a swing that it does not have, more noise would pass.
class UsableTiles {
public:
    // The gain frees the modulation of what harmonics make it swing.
    UsableTiles(FringePhase& phase, const Means& means, const rows::Gain& gain = {});

    // Adds to phase.usable the pixels of these tiles that reach the limit with the slope taken off, or also those that
    // reach it as they are now.
    void AddWithoutSlope() const { Add(false); }
    void AddAnew() const { Add(true); }

private:
    static constexpr int kTile = 64;

    // A part of the image, with the modulation, freed of its swing, of it and the pixels around.
    struct Tile {
        cv::Rect inside, around;
        cv::Mat1f modulation;
    };

    void Add(bool withSlope) const;
    // Around all pixels of a square that may be added, if their neighbours allow it; empty without them.
    cv::Rect FindCandidates(const cv::Rect& square) const;
    Tile TileOf(const cv::Rect& inside) const;
    void AddOf(const Tile& tile, const cv::Vec2f& slope) const;
    // Of some pixels of a row.
    void FreeModulation(int y, int left, int count, float* freed) const;
    std::optional<cv::Vec2f> MeanSlope(const cv::Rect& square) const;
    // visit(y, around) gets the sums of the neighbours of every row of the tile.
    template <class Visit>
    void VisitRows(const Tile& tile, const cv::Vec2f& slope, const Visit& visit) const;

    FringePhase& mPhase;
    const Means mMeans;
    const rows::Gain mGain;
    const rows::Limits mLimits;
    const float mLeast, mMost;  // what is near the limit
};

}  // namespace measure
