#pragma once

#include <opencv2/core.hpp>

namespace measure {

enum GrowthState : unsigned char { eOut, eRest, eQueued, eFixed };  // of a pixel while areas grow

// What the growth of areas of trusted orders works on: images of one size without gaps between their rows.
struct GrowthImages {
    cv::Mat1f phase;     // radians
    cv::Mat1b trust;     // the values of Trust
    cv::Mat1b state;     // the values of GrowthState
    cv::Mat1f absolute;  // radians: the final one where the state is eFixed, else that of the pixel's own order
    cv::Mat1i area;      // the number of its area where the state is eFixed, else -1; empty where it does not matter
};

// Where the order that its neighbours ask for differs by more from a pixel's own one, they lie on another surface.
float ReachOf(unsigned char trust);

// Fixes the pixels between two fixed ones of one area in a row, and, if many are left, in a column, when the phase runs
// on evenly from one to the other and most of them agree with that. Growth would find the same pixel by pixel, at many
// times the cost.
void BridgeGaps(GrowthImages& images);

}  // namespace measure
