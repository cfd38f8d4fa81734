#pragma once

#include <string>

#include "measure/heightmap.h"
#include "measure/io/bytes.h"
#include "measure/progress.h"

// Heights as text and as triangles.
namespace measure {

Bytes EncodeXyz(const HeightMap& map, const Progress& progress);
Bytes EncodeHeightCsv(const HeightMap& map, const Progress& progress);
Bytes EncodeStl(const HeightMap& map, const std::string& title, double largestStep, const Progress& progress);

}  // namespace measure
