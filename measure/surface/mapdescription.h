#pragma once

#include <string>

#include "measure/heightmap.h"
#include "measure/io/bytes.h"
#include "measure/results.h"

namespace measure {

// The JSON file beside the file of a height map: what the pixels alone do not tell.
struct MapDescription {
    double pitch = 0;
    cv::Point2d origin;
    std::string unit = "mm";
    // Of whole numbers: height = offset + scale · v, none where v is 0. Scale 0: the values are the heights.
    double offset = 0, scale = 0;
};

// The JSON file that belongs to a file of that name: map.npy.json.
std::string DescriptionName(const std::string& file);
// `picture` is what that file holds; the description names its length and CRC-32.
Bytes EncodeDescription(const MapDescription& description, const std::string& file, cv::Size size, const Bytes& picture,
                        const Quantities& results);
// Throws InputError, with the name, for whatever is no such description or belongs to another picture: one of another
// size, or, unless it was written by hand and does not say, of other contents.
MapDescription DecodeDescription(const Bytes& bytes, const std::string& name, cv::Size size, const Bytes& picture);

}  // namespace measure
