#pragma once

#include "measure/calibration.h"
#include "measure/simulate.h"

namespace test {

// What a calibration of a simulated rig would find without noise.
inline measure::Calibration CalibrationOf(const measure::simulate::Rig& rig) {
    measure::Calibration c;
    c.cameraSize = rig.cameraSize;
    c.projectorSize = rig.projectorSize;
    c.camera = rig.camera;
    c.projector = rig.projector;
    c.rotation = rig.toProjector.rotation;
    c.translation = rig.toProjector.translation;
    return c;
}

}  // namespace test
