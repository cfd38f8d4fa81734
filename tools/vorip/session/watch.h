#pragma once

#include "measure/progress.h"
#include "tools/vorip/session/progress.h"

namespace vorip {

// An interruption ends the program whatever it is doing (see interrupt.h); these two remain for older callers.
struct Interrupt {
    Interrupt() {}
    void Check() const {}
};
inline measure::Progress Watch(Progress& line, const Interrupt&) { return line.Watch(); }

}  // namespace vorip
