#pragma once

#include <algorithm>
#include <opencv2/core.hpp>

#include "measure/progress.h"

namespace measure {

// Visits the rows of an image on all cores, in bands of rows that one call visits in order: visit(cv::Range rows). The
// progress is asked between stretches of so many pixels.
template <class Visit>
void ForRowBands(cv::Size size, const Progress& progress, const char* stage, const Visit& visit,
                 int pixelsPerStretch = 1 << 23) {
    constexpr int kRowsPerBand = 64;
    const int stretch = std::max(kRowsPerBand, pixelsPerStretch / std::max(size.width, 1));
    for (int y = 0; y < size.height; y += stretch) {
        progress.Report(stage, static_cast<double>(y) / size.height);
        const cv::Range rows(y, std::min(size.height, y + stretch));
        cv::parallel_for_(rows, visit, std::max(1.0, static_cast<double>(rows.size()) / kRowsPerBand));
    }
}

}  // namespace measure
