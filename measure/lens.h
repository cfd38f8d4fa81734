#pragma once

#include <opencv2/core.hpp>

#include "measure/export.h"

namespace measure {

// A pinhole with the distortion of OpenCV's model, its names and order. Pixel centres lie at whole numbers.
struct MEASURE_API Lens {
    double fx = 1, fy = 1, cx = 0, cy = 0;
    double k1 = 0, k2 = 0, p1 = 0, p2 = 0, k3 = 0;

    // The pixel at which the direction (x, y, 1) is seen.
    cv::Point2d Project(cv::Point2d direction) const;
    // The direction of a pixel, by Newton's method to a residual of 1e-14; NaN where the model folds over.
    cv::Point2d Direction(cv::Point2d pixel) const;
};

}  // namespace measure
