#pragma once

#include "measure/base/json.h"
#include "measure/fringe.h"

namespace measure {

// A ripple as summaries hold it, amplitudes in radians; null where it is not known.
Json ToJson(const Ripple& ripple);

}  // namespace measure
