#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace vorip {

// Largest width and height of an image of the library.
inline constexpr int kMaxImageSide = 32767;

// Reads a picture as one grey channel: 8-bit or 16-bit (PNG, TIFF, BMP, NPY), 32-bit float (TIFF, NPY) or 32-bit
// integer (NPY). Colour becomes grey, opacity is ignored. Refuses, naming the file, what it cannot read.
cv::Mat ReadPicture(const std::string& file);

// The pictures in a folder, by the endings of their names, in the order of the names.
std::vector<std::string> ListPictures(const std::string& folder);

// "8-bit", "16-bit", ...: the pixel type in words.
std::string PixelTypeName(const cv::Mat& image);

// Refuses pictures of different sizes, naming both files.
void RequireSameSize(const cv::Mat& a, const std::string& fileA, const cv::Mat& b, const std::string& fileB);
// The same for pictures of different sizes or pixel types.
void RequireSameKind(const cv::Mat& a, const std::string& fileA, const cv::Mat& b, const std::string& fileB);

}  // namespace vorip
