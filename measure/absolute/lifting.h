#pragma once

#include <opencv2/core.hpp>

namespace measure {

// Where orders are known modulo `repeat` periods only, areas that touch carry each other: each is raised by as many
// repeats as most pixels at its contacts ask for, those with most contacts first, and what belongs together then is
// raised so that it begins within the first repeat. `area` is the number of a pixel's area, below 0 outside of all.
// Returns the number of components, between which nothing but the orders modulo the repeat is known.
int LiftAreas(cv::Mat1f& absolute, const cv::Mat1i& area, int repeat);

}  // namespace measure
