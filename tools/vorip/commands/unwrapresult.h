#pragma once

#include <optional>
#include <string>
#include <vector>

#include "measure/unwrap.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/summary.h"

namespace vorip {

// The zero point gets the phase 0; without one the phase stays as it is. Refuses a zero point that is not valid.
void SetZero(measure::Unwrapped& unwrapped, const std::optional<Pair<int>>& zero);

// Writes unwrapped16.png, unwrapped.tiff, unwrapped.npy, unwrapped_mask.png, components.png, unwrapped_picture.png and
// summary.json; `entries` (the method's input and parameters) come first in the summary. Returns lines about it for
// people.
std::string WriteUnwrapResult(OutputSet& outputs, const measure::Unwrapped& unwrapped, const measure::Jumps& jumps,
                              std::vector<SummaryEntry> entries, double seconds);

}  // namespace vorip
