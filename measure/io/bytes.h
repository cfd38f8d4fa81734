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

// All bytes of a file, and a file of these bytes. They throw InputError and OutputError with the file's name.
Bytes ReadBytes(const std::string& file);
void WriteBytes(const std::string& file, const Bytes& bytes);

}  // namespace measure
