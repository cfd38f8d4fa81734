#pragma once

#include <string>

#include "measure/absolute.h"

namespace measure {

// A number as people write it: two digits after the point, more for small ones.
std::string Text(double value);

// Keeps a check; warns when it did not pass.
void Note(AbsolutePhase& result, const DecodeCheck& check, const std::string& warning);
// The same, but a check that did not pass throws InputError with the text.
void Require(AbsolutePhase& result, const DecodeCheck& check, const std::string& mistake);

}  // namespace measure
