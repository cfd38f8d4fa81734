#include "measure/absolute/checknotes.h"

#include <cmath>
#include <cstdio>

#include "measure/error.h"

namespace measure {

std::string Text(double value) {
    char text[32];
    std::snprintf(text, sizeof text, std::abs(value) >= 10 ? "%.1f" : std::abs(value) >= 0.1 ? "%.2f" : "%.3f", value);
    return text;
}

void Note(AbsolutePhase& result, const DecodeCheck& check, const std::string& warning) {
    result.checks.push_back(check);
    if (!check.passed) result.warnings.push_back(warning);
}

void Require(AbsolutePhase& result, const DecodeCheck& check, const std::string& mistake) {
    result.checks.push_back(check);
    if (!check.passed) throw InputError(mistake);
}

}  // namespace measure
