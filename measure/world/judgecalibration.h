#pragma once

#include <string>
#include <vector>

#include "measure/calibrate.h"
#include "measure/world/adjust.h"

namespace measure {

// Fills everything of a result but the parameters, which it has already.
void JudgeCalibration(const std::vector<BoardView>& views, const BoardDescription& board,
                      const RigAdjustment& adjustment, const std::vector<BoardPose>& poses, CalibrationResult& result);

// What could be better, from all the other figures and the terms of the distortion that are missing.
void Advise(CalibrationResult& result, const std::vector<std::string>& missing);

}  // namespace measure
