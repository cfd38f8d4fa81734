#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "measure/board.h"

namespace measure {

// Finds the circles of a board among the spots of a picture, whatever others are around it: from a spot that has
// neighbours of its size on opposite sides in two directions the lattice is followed from spot to spot. Returns the
// places in the order of BoardPoints; none when no lattice has the board's rows and columns, or in more than one way.
std::vector<cv::Point2f> FindInLattice(const std::vector<cv::KeyPoint>& spots, const BoardDescription& board,
                                       const Progress& progress);

}  // namespace measure
