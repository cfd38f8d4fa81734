#pragma once

#include "measure/progress.h"
#include "tools/vorip/session/interrupt.h"
#include "tools/vorip/session/progress.h"

namespace vorip {

// What an operation that takes long gets: its stages appear in the line of progress, and Ctrl-C stops it. Both objects
// must live until it ends.
inline measure::Progress Watch(Progress& line, const Interrupt& interrupt) {
    return [&](const char* stage, double) {
        line.Stage(stage);
        return !interrupt.Noted();
    };
}

}  // namespace vorip
