#pragma once

#include "measure/absolute/decodestate.h"

namespace measure {

// What comes before the orders are decided, in this order.

// The phase of every set and the pixels that are usable in all of them. Throws InputError for pictures that are not
// those of the description, and for a description that cannot tell the orders.
void SolveSets(DecodeState& state, const Progress& progress);

// Throws NothingUsable when hardly any pixel is usable in all sets.
void RequireLight(const DecodeState& state);

// Corrects the ripple, decodes the Gray code, finds the origins, and checks on the way that pictures and description
// fit: throws InputError, with the likely mistake, where they do not.
void CheckSets(DecodeState& state, const Progress& progress);

}  // namespace measure
