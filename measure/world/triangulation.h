#pragma once

#include <ipbase/ipLWorld.h>

#include "measure/calibration.h"

namespace measure {

// The class of the first library for a calibration; phases are projector coordinates.
KrN::KrLPixelToWorld MakePixelToWorld(const Calibration& calibration, bool fromRows);

// How much a projector coordinate changes with the depth, at the middle of the camera's picture: projector pixels for a
// change of the depth by its own size.
double DepthSensitivity(const Calibration& calibration, bool ofRows);

}  // namespace measure
