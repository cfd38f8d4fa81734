#pragma once

#include <string>

namespace measure {

// A number as printf("%.*g") writes it, but with a point whatever the locale of the program: for files.
std::string DecimalText(double value, int digits);

}  // namespace measure
