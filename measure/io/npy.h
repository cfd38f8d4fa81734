#pragma once

#include "measure/io/bytes.h"

namespace measure {

// Two-dimensional NPY arrays of the versions 1 to 3, in either byte order and either order of rows and columns: b1
// (true is 255), u1, u2, u4, i4, i8 (which must fit 32 bits), f4 and f8 (narrowed to f4).

bool IsNpy(const Bytes& bytes);

// Refuses, naming the file, whatever is not such an array or does not hold as many bytes as its header says.
cv::Mat DecodeNpy(const Bytes& bytes, const std::string& file);

// A one-channel image of 8, 16 or 32-bit integer or 32-bit float pixels, little-endian, in the order of the rows.
Bytes EncodeNpy(const cv::Mat& image);

}  // namespace measure
