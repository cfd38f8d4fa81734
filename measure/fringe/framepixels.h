#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>

#include "measure/export.h"
#include "measure/fringe.h"

namespace measure {

// Three frames or more, all of one size and of a type that frames have, and as many shifts: else throws InputError.
void RequireFrames(const FringeSet& set);

// Throws InputError, with the name of the picture, unless its pixels are of a type that frames have.
MEASURE_API void RequireFringePixels(const std::string& name, const cv::Mat& picture);

// Calls function(Pixel()) for the type of the pixels of a frame: 8 bits, 16 bits or float, the types that frames have.
template <class Function>
auto WithPixelOf(const cv::Mat& frame, const Function& function) {
    switch (frame.depth()) {
        case CV_8U: return function(std::uint8_t());
        case CV_16U: return function(std::uint16_t());
        default: return function(float());
    }
}

// A grey level of a frame.
inline float LevelAt(const cv::Mat& frame, int y, int x) {
    return WithPixelOf(frame, [&](auto pixel) { return static_cast<float>(frame.at<decltype(pixel)>(y, x)); });
}

}  // namespace measure
