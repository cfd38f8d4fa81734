#pragma once

#include <ipbase/voripbase.h>
#include <opencv2/core.hpp>
#include <string>

#include "measure/image.h"

namespace vorip {

// A wrapped phase in radians, NaN where the file holds no number. 8-bit files have 256 steps per period, 16-bit files
// 65,536; float files are in radians and may have any range.
struct PhaseFile {
    cv::Mat1f radians;
    bool isFloat;
};
PhaseFile ReadPhase(const std::string& file);

// From any range to -pi to pi.
cv::Mat1f WrapRadians(const cv::Mat1f& phase);

// Mask files are 8-bit: 128 and above is usable. The result holds 255 and 0.
cv::Mat ReadMask(const std::string& file);

// A grey picture in 8 bits; of 16 bits the upper 8 are used.
cv::Mat ReadGrey8(const std::string& file);

// Quality: higher is better. Of 16 bits the upper 8 are used, float values are scaled so that the largest becomes 255.
cv::Mat ReadQuality(const std::string& file);

// The fringe contrast as vorip phase writes it, 0 to 1: full scale of 8 or 16 bits is 1, floats are taken as they are.
cv::Mat1f ReadContrast(const std::string& file);

}  // namespace vorip
