#pragma once

#include "measure/heightmap.h"
#include "measure/io/bytes.h"

namespace measure {

// The simple field format of Gwyddion: a text header of "key = value" lines, NUL bytes up to a multiple of four, and
// rows of little-endian floats. Lengths and heights are metres there; y runs downwards.
bool IsGsf(const Bytes& bytes);
HeightMap DecodeGsf(const Bytes& bytes, const std::string& file);
Bytes EncodeGsf(const HeightMap& map, const std::string& title);

}  // namespace measure
