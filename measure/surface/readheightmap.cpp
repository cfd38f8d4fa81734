#include <cmath>
#include <filesystem>
#include <limits>

#include "measure/error.h"
#include "measure/heightmap.h"
#include "measure/io.h"
#include "measure/io/bytes.h"
#include "measure/io/formats.h"
#include "measure/surface/gsf.h"
#include "measure/surface/mapdescription.h"
#include "measure/world/depths.h"

namespace fs = std::filesystem;

namespace measure {
namespace {

constexpr float kNone = std::numeric_limits<float>::quiet_NaN();

cv::Mat1f ReadCoordinate(const std::string& folder, const char* name) {
    const std::string file = (fs::path(folder) / name).string();
    std::error_code missing;
    if (!fs::exists(file, missing))
        throw InputError(folder + ": no " + name + " in this folder, as points have x.npy, y.npy and z.npy");
    const cv::Mat image = ReadPicture(file);
    if (image.depth() != CV_32F) throw InputError(file + ": coordinates are float, this is " + PixelTypeName(image));
    return image;
}

void DropInfinities(cv::Mat1f& heights) {
    for (float& z : heights)
        if (!std::isfinite(z)) z = kNone;
}

// Whole numbers mean heights by an offset and a scale.
cv::Mat1f Scaled(const cv::Mat& values, const MapDescription& description, const std::string& file) {
    if (values.depth() == CV_32F) {
        if (description.scale == 0) return values;
        throw InputError(file + ": the heights are float, but the JSON file beside it gives them a scale");
    }
    if (description.scale == 0)
        throw InputError(file + ": a height map is float, or has a JSON file beside it that gives " +
                         PixelTypeName(values) + " values their scale");
    cv::Mat1f heights;
    values.convertTo(heights, CV_32F, description.scale, description.offset);
    heights.setTo(kNone, values == 0);
    return heights;
}

}  // namespace

HeightMap HeightsOf(const Cloud& cloud) {
    HeightMap map;
    map.z = cv::Mat1f(-cloud.z);
    return map;
}

Cloud ReadCloud(const std::string& folder) {
    Cloud cloud;
    cloud.x = ReadCoordinate(folder, "x.npy");
    cloud.y = ReadCoordinate(folder, "y.npy");
    cloud.z = ReadCoordinate(folder, "z.npy");
    RequireSameSize(cloud.x, "x.npy", cloud.z, folder + ": z.npy");
    RequireSameSize(cloud.y, "y.npy", cloud.z, folder + ": z.npy");
    cloud.z = DepthsOf(cloud);
    for (cv::Mat1f* image : {&cloud.x, &cloud.y}) image->setTo(kNone, cloud.z != cloud.z);
    return cloud;
}

HeightMap ReadHeightMap(const std::string& path) {
    std::error_code ignored;
    if (fs::is_directory(path, ignored)) return HeightsOf(ReadCloud(path));
    const Bytes bytes = ReadBytes(path);
    HeightMap map;
    if (IsGsf(bytes)) {
        map = DecodeGsf(bytes, path);
    } else {
        const cv::Mat values = DecodePicture(bytes, path);
        MapDescription description;
        const std::string beside = DescriptionName(path);
        if (fs::exists(beside, ignored))
            description = DecodeDescription(ReadBytes(beside), beside, values.size(), bytes);
        map.z = Scaled(values, description, path);
        map.pitch = description.pitch;
        map.origin = description.origin;
        map.unit = description.unit;
    }
    DropInfinities(map.z);
    try {
        RequireHeights(map);
    } catch (const NothingUsable& error) {
        throw NothingUsable(path + ": " + error.what());
    }
    return map;
}

}  // namespace measure
