#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace measure {

// The two-dimensional NPY arrays that the program deals in: little-endian f4, f8, u1, u2, i4 in C order, versions 1.0
// and 2.0. f8 is narrowed to f4.

bool IsNpy(const std::vector<unsigned char>& bytes);

// Decodes the bytes of a file. Refuses, naming the file, whatever is not such an array or does not hold as many bytes
// as its header says.
cv::Mat DecodeNpy(const std::vector<unsigned char>& bytes, const std::string& file);

// Encodes a one-channel image of 8, 16 or 32-bit integer or 32-bit float pixels.
std::vector<unsigned char> EncodeNpy(const cv::Mat& image);

}  // namespace measure
