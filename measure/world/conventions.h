#pragma once

#include <string>
#include <vector>

#include "measure/cloud.h"

namespace measure {

constexpr int kFarthestBaselines = 1000;  // distances of camera and projector: nothing is measured beyond

double FarthestDepth(const Calibration& calibration);  // millimetres

// How well coordinates and a calibration fit each other.
struct Fit {
    double possible = 0;  // share of the pixels whose points are before the camera and in the projector's picture
    double residual = 0;  // median of the absolute residuals, projector pixels; 0 without a second direction
    double depth = 0;     // median, millimetres
};

// Looks at some thousand pixels.
Fit JudgeFit(const ProjectorCoordinates& seen, const Calibration& calibration, bool fromRows);

// Which other convention would make points possible that are not as things stand, in words; empty when none would.
std::string LikelyConvention(const ProjectorCoordinates& seen, const Calibration& calibration, bool fromRows,
                             const Fit& asItStands);

}  // namespace measure
