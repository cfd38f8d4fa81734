#pragma once

#include "measure/io/bytes.h"

namespace measure {

bool IsPng(const Bytes& bytes);
// All kinds of PNG: 8 bits a channel, or 16 where the file has them.
cv::Mat DecodePng(const Bytes& bytes, const std::string& file, const Progress& progress);
// 8-bit or 16-bit images of one channel, 8-bit images of three.
Bytes EncodePng(const cv::Mat& image, const Progress& progress);

}  // namespace measure
