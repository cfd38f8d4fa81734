#pragma once

#include <opencv2/core.hpp>

#include "measure/report/colours.h"

namespace measure {

// Puts axes in pixels (of the image before it was enlarged by `zoom`), a title and, if there is a scale, its bar in
// the colours of the palette around a drawn image.
cv::Mat3b FramePicture(const cv::Mat3b& drawn, int zoom, const PictureStyle& style, const ColourScale* scale = nullptr,
                       const Palette* palette = nullptr);

// Every pixel as zoom x zoom pixels; the same image where zoom is 1.
cv::Mat3b Enlarge(const cv::Mat3b& colours, int zoom);

// Hatches the pixels of an enlarged image where there is no value: where the values are NaN.
void Hatch(const cv::Mat1f& values, int zoom, cv::Mat3b& picture);

}  // namespace measure
