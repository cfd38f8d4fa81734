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

std::string CodeName(const CodedAxis& axis, std::size_t picture, bool ofInverse) {
    const auto& files = ofInverse ? axis.gray->inverse : axis.gray->frames;
    const std::string key =
        std::string("gray.") + (ofInverse ? "inverse" : "frames") + "[" + std::to_string(picture) + "]";
    const std::string file = picture < files.size() ? files[picture].filename().string() : "";
    return file.empty() ? key : key + " (" + file + ")";
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
