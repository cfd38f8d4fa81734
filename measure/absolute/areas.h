#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "measure/base/liftedsets.h"

namespace measure {

// 4-connected areas of trusted pixels whose absolute phases differ by less than a limit from pixel to pixel.
struct TrustedAreas {
    struct Run {
        int y, first, end;
    };
    std::vector<Run> runs;  // by rows; run i is member i of the sets
    LiftedSets sets;
};

// `trust` has the values of Trust. With a repeat above 0 phases are compared modulo that many periods, and the lifts of
// the sets count these.
TrustedAreas FindTrustedAreas(const cv::Mat1f& absolute, const cv::Mat1b& trust, float maxStep, int repeat);

}  // namespace measure
