#pragma once

#include <ipbase/voripbase.h>
#include <opencv2/core.hpp>
#include <string>

#include "measure/io/view.h"

namespace vorip {

// A wrapped phase, as the unwrappers take it.
struct PhaseImage {
    cv::Mat steps;     // CV_8U, 256 steps per period
    cv::Mat residual;  // CV_32F, radians: what the file says beyond `steps`; empty for an 8-bit file
    cv::Mat usable;    // CV_8U, 255 where the file holds a phase, 0 where it holds NaN or infinity
};

// 8-bit files have 256 steps per period, 16-bit files 65,536, float files are in radians.
PhaseImage ReadPhase(const std::string& file);

// Mask files are 8-bit: 128 and above is usable. The result holds 255 and 0.
cv::Mat ReadMask(const std::string& file);

// A grey picture in 8 bits; of 16 bits the upper 8 are used.
cv::Mat ReadGrey8(const std::string& file);

// Quality: higher is better. Of 16 bits the upper 8 are used, float values are scaled so that the largest becomes 255.
cv::Mat ReadQuality(const std::string& file);

// The mask convention of the region-based unwrapper: 128 excludes a pixel, 0 admits it.
cv::Mat ToUnwrapMask(const cv::Mat& usable);

}  // namespace vorip
