#include "measure/surface/mapdescription.h"

#include <libdeflate.h>
#include <cmath>
#include <filesystem>

#include "measure/absolute/descriptionreader.h"
#include "measure/base/json.h"
#include "measure/error.h"

namespace measure {
namespace {

bool IsFinite(double) { return true; }
bool IsAboveZero(double v) { return v > 0; }

double ReadNumber(const DescriptionNode& node, const char* key) { return node.At(key).Number(IsFinite, ""); }

std::string Checksum(const Bytes& bytes) { return cv::format("%08x", libdeflate_crc32(0, bytes.data(), bytes.size())); }

}  // namespace

std::string DescriptionName(const std::string& file) { return file + ".json"; }

Bytes EncodeDescription(const MapDescription& d, const std::string& file, cv::Size size, const Bytes& picture,
                        const Quantities& results) {
    Json json;
    json["height_map"] = 1;
    json["file"] = std::filesystem::path(file).filename().string();
    json["bytes"] = picture.size();
    json["crc32"] = Checksum(picture);
    json["width"] = size.width;
    json["height"] = size.height;
    json["unit"] = d.unit;
    json["pitch_mm"] = d.pitch > 0 ? Json(d.pitch) : Json(nullptr);
    if (d.pitch > 0) json["origin_mm"] = {{"x", d.origin.x}, {"y", d.origin.y}};
    json["axes"] = "x to the right, y upwards (against the rows), heights towards the viewer";
    if (d.scale > 0)
        json["values"] = {
            {"offset", d.offset}, {"scale", d.scale}, {"no_height", 0}, {"height", "offset + scale * value"}};
    if (!results.empty()) json["results"] = Json::parse(JsonOf(results));
    const std::string text = JsonText(json) + "\n";
    return {text.begin(), text.end()};
}

MapDescription DecodeDescription(const Bytes& bytes, const std::string& name, cv::Size size, const Bytes& picture) {
    const auto json = DescriptionNode::Parse(std::string(bytes.begin(), bytes.end()), name);
    const DescriptionNode root(json, name);
    if (!json.is_object() || !root.Has("height_map")) root.Refuse("this describes no height map");
    if (ReadNumber(root, "height_map") != 1) root.Refuse("this version of a height map is not known here");
    const bool isSame = (!root.Has("bytes") || ReadNumber(root, "bytes") == static_cast<double>(picture.size())) &&
                        (!root.Has("crc32") || root.At("crc32").Text() == Checksum(picture));
    if (!isSame)
        root.Refuse(
            "describes another file than the one beside it: the two are of different runs, of one that was cut off, or "
            "the picture was changed; write it again, or delete \"bytes\" and \"crc32\" here if they belong together");
    const double width = ReadNumber(root, "width"), height = ReadNumber(root, "height");
    if (width != size.width || height != size.height)
        root.Refuse(
            cv::format("describes %g x %g pixels, but there are %d x %d", width, height, size.width, size.height));
    MapDescription d;
    d.unit = root.At("unit").Text();
    if (!root.At("pitch_mm").IsNull()) {
        d.pitch = root.At("pitch_mm").Number(IsAboveZero, "above 0");
        d.origin = {ReadNumber(root.At("origin_mm"), "x"), ReadNumber(root.At("origin_mm"), "y")};
    }
    if (root.Has("values")) {
        d.offset = ReadNumber(root.At("values"), "offset");
        d.scale = root.At("values").At("scale").Number(IsAboveZero, "above 0");
    }
    return d;
}

}  // namespace measure
