#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tools/vorip/outputset.h"

namespace vorip {

// What an unwrapping method delivers, whichever it is.
struct UnwrapResult {
    cv::Mat steps16;     // CV_16U, 256 steps per period above the minimum; 0 where invalid
    cv::Mat radians;     // CV_32F, NaN where invalid
    cv::Mat valid;       // CV_8U, 255 valid, 0 invalid
    cv::Mat components;  // CV_32S, a number per component in any order, 0 where invalid
    double lowerPeriods = 0;
    double upperPeriods = 0;
};

// Float phase: the whole steps of the unwrapper, which count from `lowest`, and the rest that the phase file had beyond
// them, relative to the rest at the zero point.
cv::Mat ToRadians(const UnwrapResult& result, const cv::Mat& residual, std::int32_t lowest, double zeroResidual);

// Components by size: number 1 is the largest. In the 16-bit picture all numbers above 65,535 are 65,535.
struct ComponentTable {
    cv::Mat picture;           // CV_16U
    std::vector<long> pixels;  // of component i + 1
};
ComponentTable SortComponents(const cv::Mat& components);

// An entry of summary.json; the value is JSON text.
using SummaryEntry = std::pair<std::string, std::string>;
std::string JsonText(const std::string& text);

// Writes unwrapped16.png, unwrapped.tiff, unwrapped.npy, unwrapped_mask.png, components.png, unwrapped_picture.png and
// summary.json; `entries` (the method's input and parameters) come first in the summary. Returns a line about it
// for people.
std::string WriteUnwrapResult(OutputSet& outputs, const UnwrapResult& result, const std::vector<SummaryEntry>& entries,
                              double seconds);

}  // namespace vorip
