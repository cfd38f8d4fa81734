#pragma once

#include <string>
#include <vector>

#include "bench/accuracy/judge.h"

namespace measure::accuracy {

struct CaptureOutcome {
    std::string name, text;
    cv::Mat1b picture;
};

// A real capture with scan.json, wrapped16.png (0 no phase, else phase = (v - 1) / 65534 * 2π - π) and ref_order.png
// (0 no reference, else order = v - 10) of its first set: that set alone, and everything that is described.
std::vector<CaptureOutcome> JudgeCapture(const std::string& folder);

}  // namespace measure::accuracy
