#pragma once

#include "measure/io/bytes.h"

namespace measure {

bool IsNpz(const Bytes& bytes);
// An archive of NPY arrays that holds exactly one, stored or deflated.
cv::Mat DecodeNpz(const Bytes& bytes, const std::string& file);

}  // namespace measure
