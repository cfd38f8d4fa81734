#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace measure {

inline constexpr std::size_t kMostNpyHeader = 65536;  // far more than any header of a plain array

// What the header of an NPY file says: a dictionary as Python writes it.
struct NpyHeader {
    std::string descr;
    bool fortranOrder = false;
    std::vector<std::uint64_t> shape;
};

// Refuses, naming the file, what is not a dictionary of these three entries, each of them once, and blanks behind it.
NpyHeader ParseNpyHeader(std::string_view text, const std::string& file);

}  // namespace measure
