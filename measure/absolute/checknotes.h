#pragma once

#include <string>

#include "measure/absolute.h"

namespace measure {

// A number as people write it: two digits after the point, more for small ones.
std::string Text(double value);

// A picture of the Gray code of a description, by its place in the list of frames or of inverse ones, and its file.
std::string CodeName(const CodedAxis& axis, std::size_t picture, bool ofInverse = false);

// Keeps a check; warns when it did not pass.
void Note(AbsolutePhase& result, const DecodeCheck& check, const std::string& warning);
// The same, but a check that did not pass throws InputError with the text.
void Require(AbsolutePhase& result, const DecodeCheck& check, const std::string& mistake);

}  // namespace measure
