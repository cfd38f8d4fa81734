#pragma once

#include <string>

#include "tools/vorip/commands/frameinputs.h"

namespace vorip {

struct ScanQualityOptions {
    std::string scan;
    std::string frames;  // a folder; empty for that of the description
    LimitOptions limits;
    bool json = false;
};

// Judges the pictures of a scan; returns the exit code.
int JudgeScan(const ScanQualityOptions& options);

}  // namespace vorip
