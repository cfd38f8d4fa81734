#pragma once

#include <string>

namespace measure {

// Whether a text of YAML, JSON or XML may be nested so deeply that a parser that calls itself for each level runs out
// of stack. Rather says so of a harmless text than not of a harmful one: what the levels end with counts only where it
// cannot be part of a string or of a comment. No calibration comes near it.
bool IsNestedDeeply(const std::string& text);

// Whether a text of YAML, JSON or XML has, or may have, values in base64, whose parser does not end with every text.
bool HoldsBase64(const std::string& text);

}  // namespace measure
