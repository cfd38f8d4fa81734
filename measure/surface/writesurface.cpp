#include "measure/writesurface.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/io.h"
#include "measure/io/bytes.h"
#include "measure/surface/encoders.h"
#include "measure/surface/gsf.h"
#include "measure/surface/mapdescription.h"

namespace measure {
namespace {

constexpr double kMostValue = 65535;

using Encode = std::vector<SurfaceFile> (*)(const std::string&, const HeightMap&, const SurfaceFileOptions&,
                                            const Progress&);

MapDescription DescriptionOf(const HeightMap& map) {
    MapDescription description;
    description.pitch = map.pitch;
    description.origin = map.origin;
    description.unit = map.unit;
    return description;
}

// The bytes are moved, as a list in braces would copy them: triangles take 100 bytes of each pixel.
std::vector<SurfaceFile> Alone(const std::string& name, Bytes bytes) {
    std::vector<SurfaceFile> files(1);
    files[0] = {name, std::move(bytes)};
    return files;
}

std::vector<SurfaceFile> WithDescription(const std::string& name, const cv::Mat& image,
                                         const MapDescription& description, const SurfaceFileOptions& options) {
    std::vector<SurfaceFile> files = Alone(name, EncodePicture(name, image));
    files.push_back(
        {DescriptionName(name), EncodeDescription(description, name, image.size(), files[0].bytes, options.results)});
    return files;
}

std::vector<SurfaceFile> EncodeFloats(const std::string& name, const HeightMap& map, const SurfaceFileOptions& options,
                                      const Progress&) {
    return WithDescription(name, map.z, DescriptionOf(map), options);
}

// Heights are spread over 1 to 65535.
std::vector<SurfaceFile> EncodeWholeNumbers(const std::string& name, const HeightMap& map,
                                            const SurfaceFileOptions& options, const Progress&) {
    double least = std::numeric_limits<double>::infinity(), most = -least;
    for (const float z : map.z) {
        if (!std::isfinite(z)) continue;
        least = std::min(least, static_cast<double>(z));
        most = std::max(most, static_cast<double>(z));
    }
    MapDescription description = DescriptionOf(map);
    description.scale = most > least ? (most - least) / (kMostValue - 1) : 1e-6;
    description.offset = least - description.scale;
    cv::Mat1w values(map.z.size());
    for (int y = 0; y < values.rows; ++y) {
        for (int x = 0; x < values.cols; ++x) {
            const auto z = static_cast<double>(map.z(y, x));
            const double v = std::clamp(std::round((z - description.offset) / description.scale), 1.0, kMostValue);
            values(y, x) = std::isfinite(z) ? static_cast<ushort>(v) : ushort{0};
        }
    }
    return WithDescription(name, values, description, options);
}

std::vector<SurfaceFile> EncodeTiffOf(const std::string& name, const HeightMap& map, const SurfaceFileOptions& options,
                                      const Progress& progress) {
    return (options.bits == 16 ? EncodeWholeNumbers : EncodeFloats)(name, map, options, progress);
}
std::vector<SurfaceFile> EncodeGsfOf(const std::string& name, const HeightMap& map, const SurfaceFileOptions& options,
                                     const Progress&) {
    return Alone(name, EncodeGsf(map, options.title));
}
std::vector<SurfaceFile> EncodeStlOf(const std::string& name, const HeightMap& map, const SurfaceFileOptions& options,
                                     const Progress& progress) {
    return Alone(name, EncodeStl(map, options.title, options.largestStep, progress));
}
std::vector<SurfaceFile> EncodeXyzOf(const std::string& name, const HeightMap& map, const SurfaceFileOptions&,
                                     const Progress& progress) {
    return Alone(name, EncodeXyz(map, progress));
}
std::vector<SurfaceFile> EncodeCsvOf(const std::string& name, const HeightMap& map, const SurfaceFileOptions&,
                                     const Progress& progress) {
    return Alone(name, EncodeHeightCsv(map, progress));
}

struct SurfaceFormat {
    const char* ending;
    bool metric;        // needs positions in millimetres
    bool wholeNumbers;  // can hold 16 bits
    Encode encode;
};
constexpr SurfaceFormat kFormats[] = {
    {".npy", false, false, EncodeFloats}, {".tiff", false, true, EncodeTiffOf},
    {".tif", false, true, EncodeTiffOf},  {".png", false, true, EncodeWholeNumbers},
    {".gsf", false, false, EncodeGsfOf},  {".stl", true, false, EncodeStlOf},
    {".xyz", true, false, EncodeXyzOf},   {".csv", false, false, EncodeCsvOf},
};

const SurfaceFormat& FormatOf(const std::string& name) {
    const std::string ending = EndingOf(name);
    for (const SurfaceFormat& format : kFormats)
        if (ending == format.ending) return format;
    throw InputError(name + ": the name of a height map must end with " + kSurfaceFormats);
}

}  // namespace

void RequireSurfaceName(const std::string& name) { FormatOf(name); }

std::vector<SurfaceFile> EncodeHeightMap(const std::string& name, const HeightMap& map,
                                         const SurfaceFileOptions& options, const Progress& progress) {
    const SurfaceFormat& format = FormatOf(name);
    RequireHeights(map);
    RequireNotNegative("the largest step", options.largestStep);
    if (options.bits != 16 && options.bits != 32)
        throw InputError(cv::format("heights are written with 16 or 32 bits, not with %d", options.bits));
    if (options.bits == 16 && !format.wholeNumbers) throw InputError(name + ": only .tiff and .png have 16 bits");
    if (format.metric && !map.IsMetric())
        throw InputError(name + ": needs heights in millimetres on a grid with a pitch");
    progress.Report("encoding");
    return format.encode(name, map, options, progress);
}

void WriteHeightMap(const std::string& path, const HeightMap& map, const SurfaceFileOptions& options,
                    const Progress& progress) {
    for (const SurfaceFile& file : EncodeHeightMap(path, map, options, progress))
        WriteBytes(file.name, file.bytes, progress);
}

}  // namespace measure
