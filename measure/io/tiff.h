#pragma once

#include "measure/io/bytes.h"

namespace measure {

bool IsTiff(const Bytes& bytes);

// Up to `most` pages, without reduced copies and masks: strips or tiles of any compression that libtiff knows, samples
// together or in planes, of 1 to 16 bits (up to 8 are spread to 0 to 255, 9 to 16 stay as they are), 32-bit integers
// and floats, or doubles (narrowed to floats); the right way up; 0 is black. Kinds of colour beyond grey, RGB and
// palettes become 8-bit colour.
std::vector<cv::Mat> DecodeTiff(const Bytes& bytes, const std::string& file, std::size_t most,
                                const Progress& progress);

// One page of one channel, or of three 8-bit ones, not compressed.
Bytes EncodeTiff(const cv::Mat& image, const Progress& progress);

}  // namespace measure
