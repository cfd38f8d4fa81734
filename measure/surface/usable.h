#pragma once

#include <opencv2/core.hpp>

#include "measure/heightmap.h"

namespace measure {

// 255 where there is a height and the mask admits it, else 0. Throws as the public functions do: InputError for a mask
// of another size and maps without pixels, NothingUsable when no pixel is left.
cv::Mat1b UsablePixels(const HeightMap& map, const cv::Mat1b& mask);

}  // namespace measure
