#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/export.h"
#include "measure/progress.h"

namespace measure {

// What a file holds.
using Bytes = std::vector<std::uint8_t>;

// Refuses, with the name of the file, sizes that no image of the library can have.
void RequireReadableSize(std::uint64_t width, std::uint64_t height, const std::string& file);

// Asks the memory check of the process (see measure/io.h), if there is one.
void RequireMemory(const std::string& file, double bytes, cv::Size picture = {});

// An image to read into. Throws InputError, with the name of the file, when there is not enough memory for it or the
// memory check refuses it.
cv::Mat NewPicture(cv::Size size, int type, const std::string& file);

// Doubles, wherever they lie in memory, become the nearest floats. Refuses, with the name of the file, finite ones
// beyond those that a float can hold.
void NarrowToFloat(const std::uint8_t* doubles, std::size_t count, float* floats, const std::string& file);

// The ending of a name in lower case: ".png" of "a/B.PNG".
MEASURE_API std::string EndingOf(const std::string& name);

// Refuses what is no file, as folders, devices and pipes, from which reading might never end.
MEASURE_API void RequireFile(const std::string& file);
// A text of 1 to so many bytes; `kind` says what it shall be, as in "a calibration".
MEASURE_API std::string ReadText(const std::string& file, std::size_t most, const char* kind);

// All bytes of a file, of which there must be some, and a file of these bytes. They throw InputError and OutputError
// with the file's name.
Bytes ReadBytes(const std::string& file, const Progress& progress = {});
void WriteBytes(const std::string& file, const Bytes& bytes, const Progress& progress = {});

}  // namespace measure
