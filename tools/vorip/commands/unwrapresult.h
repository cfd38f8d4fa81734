#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tools/vorip/cli/parse.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/session/outputset.h"

namespace vorip {

// What an unwrapping method delivers, whichever it is.
struct UnwrappedSteps {
    cv::Mat steps;       // CV_32S, 256 steps per period; any value where invalid
    cv::Mat valid;       // CV_8U, 255 valid, 0 invalid
    cv::Mat components;  // CV_32S, a number per component in any order, 0 where invalid
};

// The phase with the zero point at 0.
struct UnwrapResult {
    UnwrapResult() = default;
    // `residual` is what the phase file had beyond the steps, in radians; empty when it had nothing. Without a zero
    // point the phase stays as it is. Refuses a zero point that is not valid.
    UnwrapResult(const UnwrappedSteps& unwrapped, const cv::Mat& residual, const std::optional<Pair<int>>& zero);

    cv::Mat steps16;     // CV_16U, 256 steps per period above the minimum, at most 65,535; 0 where invalid
    cv::Mat radians;     // CV_32F, NaN where invalid
    cv::Mat valid;       // CV_8U, 255 valid, 0 invalid
    cv::Mat components;  // CV_32S, a number per component in any order, 0 where invalid
    double lowerPeriods = 0;
    double upperPeriods = 0;
};

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
