#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "measure/board.h"

namespace measure {

// Brings a picture to 8 bits, so that dark and bright differ by as much in all of them.
cv::Mat1b Stretch(const cv::Mat1f& picture);

// Moves roughly known corners to where their edges meet.
void RefineCorners(const cv::Mat1f& picture, const BoardDescription& board, std::vector<cv::Point2d>& points);

// Moves roughly known places to the centre of the dark spot there. Returns the diameter of the circles in millimetres.
double RefineCircles(const cv::Mat1f& picture, const BoardDescription& board, std::vector<cv::Point2d>& points);

}  // namespace measure
