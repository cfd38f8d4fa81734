#pragma once

#include "measure/io/bytes.h"

namespace measure {

// Formats beyond PNG, TIFF and NPY, through OpenCV's codecs. Those bring more than a hundred libraries along, so they
// are linked to a module of their own, libvoripcodecs, which stands beside this library and is loaded when it is
// needed.

cv::Mat DecodeByModule(const Bytes& bytes, const std::string& file);
Bytes EncodeByModule(const char* ending, const cv::Mat& image);

}  // namespace measure
