#include "tools/vorip/cli/parse.h"

#include <cmath>
#include <sstream>

#include "measure/io.h"

namespace vorip {

std::optional<std::vector<double>> ParseNumbers(const std::string& text) {
    std::vector<double> numbers;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, ',');) {
        std::istringstream field(part);
        double number = 0;
        if (!(field >> number) || !(field >> std::ws).eof() || !std::isfinite(number)) return std::nullopt;
        numbers.push_back(number);
    }
    if (numbers.empty() || text.back() == ',') return std::nullopt;
    return numbers;
}

std::optional<Pair<int>> ParsePoint(const std::string& text) {
    const auto numbers = ParseNumbers(text);
    if (!numbers || numbers->size() != 2) return std::nullopt;
    for (const double n : *numbers) {
        if (n != std::floor(n) || std::abs(n) > measure::kMaxImageSide) return std::nullopt;
    }
    return Pair<int>{static_cast<int>((*numbers)[0]), static_cast<int>((*numbers)[1])};
}

}  // namespace vorip
