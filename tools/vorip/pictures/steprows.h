#pragma once

#include <opencv2/core.hpp>

namespace vorip {

// Phases as whole steps, as they stand in picture files.

struct PhaseSteps {
    cv::Mat1w fine;   // 65,536 steps per period
    cv::Mat1b steps;  // 256 steps per period
};
// Of a wrapped phase in radians; 0 for NaN.
PhaseSteps ToSteps(const cv::Mat1f& phase);

struct UnwrappedSteps {
    cv::Mat1w steps;       // 256 steps per period above `lower`, at most 65,535; 0 where invalid
    cv::Mat1w components;  // numbers above 65,535 are 65,535
    cv::Mat1b valid;       // 255 where the component is not 0, else 0
};
// `lower` is the least phase, in periods.
UnwrappedSteps ToSteps(const cv::Mat1f& phase, const cv::Mat1i& components, double lower);

}  // namespace vorip
