#pragma once

#include <opencv2/core.hpp>

#include "measure/export.h"

// Points in space, one for each pixel of the camera.
namespace measure {

// Millimetres in the frame of the camera (x right, y down, z away from it); images of the camera's size, NaN where
// nothing was measured, in all of them alike.
struct Cloud {
    cv::Mat1f x, y, z;
    // Where the projector was decoded in both directions: how far the second coordinate is from where the first one and
    // the calibration expect it, projector pixels. Empty without a second direction.
    cv::Mat1f rowResidual;
};

}  // namespace measure
