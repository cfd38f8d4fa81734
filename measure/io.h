#pragma once

#include <cstdint>
#include <functional>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/export.h"
#include "measure/progress.h"

// Files of pictures and of arrays. All functions throw InputError for what cannot be read or be held by a file of that
// kind, OutputError for what cannot be written; the texts name the file. Large files are read, decoded and encoded in
// pieces, between which the progress is asked; files of compressed strips, or of formats beyond ours, are one piece
// each. 64-bit floats are rounded to 32-bit ones; what those cannot hold is refused, as files that lack a part are.
namespace measure {

// Largest width and height of an image of the library.
inline constexpr int kMaxImageSide = 32767;

// Reads a picture as one grey channel: 8-bit or 16-bit, 32-bit float (TIFF, NPY) or 32-bit integer (TIFF, NPY). The
// contents tell the format: PNG, TIFF, NPY, NPZ with one array, or by OpenCV's codecs BMP, JPEG, WebP and PNM. Colour
// becomes grey, opacity is ignored, booleans are 0 and 255, fewer than 8 bits a pixel are spread to 0 to 255, and
// TIFF and JPEG pictures are turned upright. Of several pages it is the first. Integers whose 0 is white are inverted.
MEASURE_API cv::Mat ReadPicture(const std::string& file, const Progress& progress = {});
// Reads a picture as blue, green and red of 8 bits; 16 bits are scaled down, grey becomes colour, opacity is ignored.
MEASURE_API cv::Mat3b ReadColourPicture(const std::string& file, const Progress& progress = {});
// All pages of a TIFF file, one picture of other files.
MEASURE_API std::vector<cv::Mat> ReadPages(const std::string& file, const Progress& progress = {});

// Called before memory is taken for a picture of this size, which its header tells, or for the contents of a file, with
// an empty size. What it throws, the function that reads throws. Pictures are read on several threads.
using MemoryCheck = std::function<void(const std::string& file, double bytes, cv::Size picture)>;
// One for the process, to be set before the first file is read; at first there is none.
MEASURE_API void SetMemoryCheck(MemoryCheck check);

// The pictures in a folder, by the endings of their names, in the order of the names.
MEASURE_API std::vector<std::string> ListPictures(const std::string& folder);

// What a written file may be, in words: the endings and the pixels that each can hold.
inline constexpr char kWritableFormats[] = ".png (8- or 16-bit), .bmp (8-bit), .tiff or .npy (also float)";

// Writes a file of the format that the ending of its name tells (see EncodePicture).
MEASURE_API void WritePicture(const std::string& file, const cv::Mat& image, const Progress& progress = {});

// Refuses names whose ending is not that of a format which can be written.
MEASURE_API void RequireWritableName(const std::string& file);

// The bytes of a file that holds the image, of one channel or of three 8-bit ones (blue, green, red); the ending of
// the name says which format. Refuses endings that it does not know, images without pixels and pixels that the format
// cannot hold.
MEASURE_API std::vector<std::uint8_t> EncodePicture(const std::string& name, const cv::Mat& image,
                                                    const Progress& progress = {});

// "8-bit", "16-bit", ...: the pixel type in words.
MEASURE_API std::string PixelTypeName(const cv::Mat& image);

// Refuses pictures of different sizes, and without pixels, naming both files.
MEASURE_API void RequireSameSize(const cv::Mat& a, const std::string& fileA, const cv::Mat& b,
                                 const std::string& fileB);
// The same for pictures of different sizes or pixel types.
MEASURE_API void RequireSameKind(const cv::Mat& a, const std::string& fileA, const cv::Mat& b,
                                 const std::string& fileB);

}  // namespace measure
