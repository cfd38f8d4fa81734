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

// The amount of memory that such a text means, in bytes: "4G", "1.5GB", "2GiB", "800M", "123456789". Throws
// measure::InputError for any other text.
double ParseMemory(const std::string& text);

}  // namespace vorip
