#include "measure/base/decimal.h"

#include <charconv>

namespace measure {

std::string DecimalText(double value, int digits) {
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, value, std::chars_format::general, digits).ptr};
}

}  // namespace measure
