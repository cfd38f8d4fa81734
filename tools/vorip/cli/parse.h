#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vorip {

// Two numbers as in "120,80".
template <class T>
struct Pair {
    T first;
    T second;
};
std::optional<Pair<int>> ParsePoint(const std::string& text);
// Numbers separated by commas; nothing when the text is anything else.
std::optional<std::vector<double>> ParseNumbers(const std::string& text);

}  // namespace vorip
