#pragma once

#include <string>

#include "measure/absolute/decodestate.h"

namespace measure {

// What may have made pictures that do not fit to each other, in words; empty when it does not explain them. These take
// their time and are asked only where something has been found not to fit.

// All that one set, or a pair of pictures (see FindPair), shows lies elsewhere in the picture.
std::string FindShift(const DecodeState& state);

// The brightness of the sets differs as a curve of the camera makes it do: where fringes have more contrast, the mean
// is darker.
std::string FindCurve(const DecodeState& state);

// Two sets show the same fringes, although their periods differ.
std::string FindSameSets(const DecodeState& state);

}  // namespace measure
