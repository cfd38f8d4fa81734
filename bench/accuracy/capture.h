#pragma once

#include <string>
#include <vector>

#include "measure/simulatescan.h"

namespace measure::accuracy {

struct CaptureOutcome {
    std::string name, text;
    cv::Mat1b picture;
};

// A real capture with scan.json, wrapped16.png (0 no phase, else phase = (v - 1) / 65534 * 2π - π) and ref_order.png
// (0 no reference, else order = v - 10) of its first set: that set alone, and everything that is described.
std::vector<CaptureOutcome> JudgeCapture(const std::string& folder);

// How far the phase of the first set deviates from smooth surfaces (quadrics over 31 x 31 pixels) before and after the
// correction of ripple, root mean square in radians.
struct CaptureRipple {
    double before = 0, after = 0;
};
CaptureRipple JudgeRipple(const std::string& folder);

}  // namespace measure::accuracy
