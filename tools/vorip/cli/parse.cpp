#include "tools/vorip/cli/parse.h"

#include <charconv>
#include <cmath>
#include <sstream>

#include "measure/error.h"
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
    for (const double n : *numbers)
        if (n != std::floor(n) || std::abs(n) > measure::kMaxImageSide) return std::nullopt;
    return Pair<int>{static_cast<int>((*numbers)[0]), static_cast<int>((*numbers)[1])};
}

double ParseMemory(const std::string& text) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number);
    const std::string unit(parsed.ptr, end);
    double decimal = 1, binary = 1;
    for (const char* const prefix : {"", "K", "M", "G", "T"}) {
        const std::string p = prefix;
        const bool isBinary = !p.empty() && unit == p + "iB";
        const double bytes = number * (isBinary ? binary : decimal);
        if (unit == p || unit == p + "B" || isBinary) {
            if (parsed.ec == std::errc() && bytes >= 1 && std::isfinite(bytes)) return bytes;
            break;
        }
        decimal *= 1000;
        binary *= 1024;
    }
    throw measure::InputError("--max-memory=" + text +
                              ": must be an amount of memory, as in --max-memory=4G, 500M or 2GiB");
}

}  // namespace vorip
