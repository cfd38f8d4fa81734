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

struct UnwrapReport {
    std::vector<SummaryEntry> entries;
    std::string text;  // lines for people
};

// Adds unwrapped16.png, unwrapped.tiff, unwrapped.npy, unwrapped_mask.png, components.png, components_picture.png and
// unwrapped_picture.png to the outputs, not the summary.
UnwrapReport AddUnwrapResult(OutputSet& outputs, const measure::Unwrapped& unwrapped, const measure::Jumps& jumps,
                             double seconds);

// One line about jumps, marked in NAME_picture.png; empty without any.
std::string JumpWarning(const measure::Jumps& jumps, const std::string& name);
// The same of an unwrapped phase, with the areas that they cut off.
std::string JumpWarning(const measure::Jumps& jumps, const measure::Unwrapped& unwrapped);

}  // namespace vorip
