#pragma once

#include <ipbase/ipColourIndex.h>

#include <array>
#include <opencv2/core.hpp>

#include "measure/picture.h"

// What the drawings have in common.
namespace measure {

inline const cv::Vec3b kBackground(24, 24, 24);
inline const cv::Scalar kInk = cv::Scalar::all(230);

constexpr int kColours = 255;  // the index after theirs is that of pixels without a value
using Palette = std::array<cv::Vec3b, kColours>;

Palette PaletteOf(ColourMap map);

// From values to the indices of a palette.
struct ColourScale {
    ColourScale(const cv::Mat1f& values, const PictureStyle& style);

    ValueRange range;
    KrN::KrColourIndex index;
};

// The step of a style; one beyond the image draws its first pixel alone. Throws InputError for one below 1.
int StepOf(const PictureStyle& style, const cv::Mat& image);

// Every step-th column and row of an image of one channel.
cv::Mat EveryPixel(const cv::Mat& image, int step);

// The whole number by which an image of this size is enlarged, so that people can see its pixels.
int ZoomOf(cv::Size size);

}  // namespace measure
