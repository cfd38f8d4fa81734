#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <vector>

// What the module exports, under the name `voripCodecs`.
namespace measure {

struct Codecs {
    // An empty image when the bytes cannot be decoded.
    cv::Mat (*decode)(const std::vector<std::uint8_t>& bytes);
    // No bytes when the image cannot be encoded.
    std::vector<std::uint8_t> (*encode)(const char* ending, const cv::Mat& image);
};

}  // namespace measure
