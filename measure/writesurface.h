#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "measure/export.h"
#include "measure/heightmap.h"
#include "measure/progress.h"
#include "measure/results.h"

// Height maps in files: for this library, and for the programs that people look at surfaces with.
namespace measure {

// What a height map can be written as, by the ending of the name.
//     .npy, .tiff  heights as floats, and a JSON file beside them (pitch, origin, unit), which ReadHeightMap reads
//     .tiff, .png  with bits = 16: whole numbers v with height = offset + scale · v, 0 where there is none; JSON beside
//     .gsf         Gwyddion's simple field: metres
//     .stl         binary triangles, millimetres, upwards; steps higher than `largestStep` are not closed by a wall
//     .xyz         a line "x y z" for each pixel with a height, millimetres
//     .csv         the heights row by row, nothing where there is none
inline constexpr char kSurfaceFormats[] = ".npy, .tiff, .png (16-bit), .gsf, .stl, .xyz or .csv";

struct SurfaceFileOptions {
    int bits = 32;            // 16: whole numbers with a scale, .tiff and .png
    double largestStep = 0;   // .stl: heights of a triangle may differ by so much; 0: by four times the pitch
    std::string title;        // .gsf, .stl
    Quantities results = {};  // JSON: what was found out about this surface
};

struct SurfaceFile {
    std::string name;
    std::vector<std::uint8_t> bytes;
};

// Refuses names whose ending is not one of these.
MEASURE_API void RequireSurfaceName(const std::string& name);
// The files of a height map, the one of the given name first. Throws InputError for endings that are not in the list,
// bits other than 16 and 32, a negative step, and .stl and .xyz of maps that are not IsMetric.
MEASURE_API std::vector<SurfaceFile> EncodeHeightMap(const std::string& name, const HeightMap& map,
                                                     const SurfaceFileOptions& options = {},
                                                     const Progress& progress = {});
// Writes them; throws OutputError.
MEASURE_API void WriteHeightMap(const std::string& path, const HeightMap& map, const SurfaceFileOptions& options = {},
                                const Progress& progress = {});

}  // namespace measure
