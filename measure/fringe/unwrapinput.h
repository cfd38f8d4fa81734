#pragma once

#include <opencv2/core.hpp>

#include "measure/error.h"

namespace measure {

inline void RequireSize(const cv::Mat& phase, const cv::Mat& other, const char* what) {
    if (phase.empty()) throw InputError("the phase is empty");
    if (other.size() == phase.size()) return;
    throw InputError(
        cv::format("%s has %d x %d pixels, the phase %d x %d", what, other.cols, other.rows, phase.cols, phase.rows));
}

}  // namespace measure
