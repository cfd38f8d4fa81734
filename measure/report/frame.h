#pragma once

#include <opencv2/core.hpp>

#include "measure/report/colours.h"

namespace measure {

// Puts axes in pixels (of the image before it was enlarged by `zoom`), a title and a scale bar around a drawn image.
cv::Mat3b FramePicture(const cv::Mat3b& drawn, int zoom, const PictureStyle& style, const ColourScale& scale,
                       const Palette& palette);

}  // namespace measure
