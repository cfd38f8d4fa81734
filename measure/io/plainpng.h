#pragma once

#include "measure/io/bytes.h"

namespace measure {

// Decodes the kind of PNG that cameras and this library write most: grey, 8 or 16 bits, not interlaced. Inflating large
// pieces of it at once takes less than half of the time of a decoder that goes row by row. Other kinds and damaged
// files give an empty image: they are for a decoder that knows everything, and says what is wrong.
cv::Mat DecodePlainPng(const Bytes& bytes, const std::string& file, const Progress& progress = {});

}  // namespace measure
