#pragma once

#include <cstdint>
#include <opencv2/core.hpp>

namespace measure {

// A grey level of a frame of any of the types that frames have.
inline float LevelAt(const cv::Mat& frame, int y, int x) {
    switch (frame.depth()) {
        case CV_8U: return frame.at<std::uint8_t>(y, x);
        case CV_16U: return frame.at<std::uint16_t>(y, x);
        default: return frame.at<float>(y, x);
    }
}

}  // namespace measure
