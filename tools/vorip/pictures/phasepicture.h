#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace vorip {

struct PhasePicture {
    std::string title;
    cv::Mat1i components;    // their borders are drawn; may be empty
    cv::Mat1b marks;         // painted in a signal colour
    cv::Mat1b level;         // 255 where pixels belong to the levelled picture
    std::string levelTitle;  // of that one
};

// Draws a phase in radians, NaN where invalid, with a scale in periods; and beside it the pixels of `level` without the
// plane through them, as the carrier of the fringes hides what the surface does.
cv::Mat3b DrawPhase(const cv::Mat1f& radians, const PhasePicture& picture);

// Larger results are drawn smaller, as two pictures stand side by side: every how many-th pixel.
int DrawnStep(const cv::Size& size);

}  // namespace vorip
