#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace measure {

// What a file holds.
using Bytes = std::vector<std::uint8_t>;

// Refuses, with the name of the file, sizes that no image of the library can have.
void RequireReadableSize(std::uint64_t width, std::uint64_t height, const std::string& file);

}  // namespace measure
