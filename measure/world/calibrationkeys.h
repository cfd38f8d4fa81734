#pragma once

#include <array>
#include <string>

#include "measure/calibration.h"

namespace measure {

// The names that a file gives to the parts of a calibration.
struct CalibrationKeys {
    const char *cameraMatrix, *cameraDistortion, *projectorMatrix, *projectorDistortion, *rotation, *translation;

    std::array<const char*, 6> All() const {
        return {cameraMatrix, cameraDistortion, projectorMatrix, projectorDistortion, rotation, translation};
    }
};

// Our own first, then two that are met in files of other systems.
inline constexpr CalibrationKeys kCalibrationKeys[] = {
    {"camera_matrix", "camera_distortion", "projector_matrix", "projector_distortion", "rotation", "translation"},
    {"Kc", "kc", "Kp", "kp", "Rp", "Tp"},
    {"M1", "D1", "M4", "D4", "Rlp", "Tlp"},
};

// RequirePlausible, with these names in its messages.
void CheckCalibration(const Calibration& calibration, const CalibrationKeys& keys, const std::string& name);

}  // namespace measure
