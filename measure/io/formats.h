#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/io/bytes.h"

namespace measure {

// The bits of Format::depths.
constexpr int DepthBit(int depth) { return 1 << depth; }

// A kind of file: how the endings of names and the first bytes of contents tell it, and what reads and writes it.
// What is read may have any number of channels, in the order blue, green, red, opacity. The functions throw InputError
// with the file's name.
struct Format {
    const char* ending;  // in lower case
    int depths;          // what can be written; 0: nothing
    bool holdsColour;    // whether three 8-bit channels can be written
    bool (*isThis)(const Bytes& bytes);
    // Up to so many pages.
    std::vector<cv::Mat> (*decode)(const Bytes& bytes, const std::string& file, std::size_t most,
                                   const Progress& progress);
    Bytes (*encode)(const Format& format, const cv::Mat& image, const Progress& progress);
};

// The format of a file of that name, or null when its ending is not one of ours.
const Format* FindFormat(const std::string& file);
// The format that the contents show, or null.
const Format* FindFormat(const Bytes& bytes);

// What ReadPicture makes of these contents of a file.
cv::Mat DecodePicture(const Bytes& bytes, const std::string& file);

}  // namespace measure
