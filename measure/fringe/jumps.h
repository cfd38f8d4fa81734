#pragma once

#include <opencv2/core.hpp>

namespace measure {

// The jumps of a phase, see FindJumps: their number, and in an image of the same size 255 where they are.
int MarkJumps(const cv::Mat1f& unwrapped, cv::Mat1b& where);

}  // namespace measure
