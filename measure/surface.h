#pragma once

#include <opencv2/core.hpp>

#include "measure/export.h"

// Surfaces: what is left of heights or phases when their form is taken away.
namespace measure {

// Subtracts the plane that fits best, by least squares, to the finite values that the mask admits (128 and above; an
// empty mask admits all), from all values. Without three admitted pixels that are not on one line, the values stay.
// Throws InputError for a mask of another size.
MEASURE_API cv::Mat1f RemovePlane(const cv::Mat1f& values, const cv::Mat1b& mask = {});

}  // namespace measure
