#pragma once

#include "measure/unwrap.h"

namespace measure {

// Mends orders that came over a few accidental pixels, as where a rod is crossed before the wall behind it has been
// joined, so that a seam runs through the wall. The phase is cut into pieces at its jumps, at dear pixels, where
// objects end although the phase may run on by accident, and at bridges narrower than five pixels; all the border that
// two pieces share votes for the whole periods between them, smooth places with more weight; and the pieces are joined
// again, those first whose border is most of one mind. Does nothing to a phase without jumps.
void RejoinPieces(const cv::Mat1f& cost, cv::Mat1f& unwrapped);

// UnwrapByCost, with or without that.
Unwrapped JoinByCost(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Mat1f& cost, int minPixels, bool rejoin,
                     const Progress& progress = {});

}  // namespace measure
