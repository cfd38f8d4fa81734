#include <algorithm>
#include <filesystem>
#include <limits>
#include <new>
#include <opencv2/imgproc.hpp>

#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/io.h"
#include "measure/io/folder.h"
#include "measure/io/formats.h"

namespace measure {
namespace {

cv::Mat ToGrey(const cv::Mat& image) {
    cv::Mat grey;
    switch (image.channels()) {
        case 1: return image;
        case 3: cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY); return grey;
        case 4: cv::cvtColor(image, grey, cv::COLOR_BGRA2GRAY); return grey;
        default: cv::extractChannel(image, grey, 0); return grey;
    }
}

cv::Mat Checked(const cv::Mat& image, const std::string& file) {
    RequireReadableSize(static_cast<std::uint64_t>(image.cols), static_cast<std::uint64_t>(image.rows), file);
    const int depth = image.depth();
    if (depth != CV_8U && depth != CV_16U && depth != CV_32F && (depth != CV_32S || image.channels() != 1))
        throw InputError(file + ": pixels must be unsigned 8-bit, unsigned 16-bit or float");
    return ToGrey(image);
}

std::vector<cv::Mat> Decode(const Bytes& bytes, const std::string& file, std::size_t most,
                            const Progress& progress = {}) {
    const Format* const format = FindFormat(bytes);
    if (!format) throw InputError(file + ": not a PNG, TIFF, BMP or NPY file");
    try {
        return format->decode(bytes, file, most, progress);
    } catch (const std::bad_alloc&) {
    } catch (const cv::Exception& error) {
        if (error.code != cv::Error::StsNoMem) throw;
    }
    throw InputError(file + ": needs more memory than there is or than is allowed");
}

std::vector<cv::Mat> ReadUpTo(std::size_t most, const std::string& file, const Progress& progress) {
    std::vector<cv::Mat> pages = Decode(ReadBytes(file, progress), file, most, progress);
    for (cv::Mat& page : pages) page = Checked(page, file);
    return pages;
}

}  // namespace

cv::Mat3b ReadColourPicture(const std::string& file, const Progress& progress) {
    cv::Mat image = Decode(ReadBytes(file, progress), file, 1, progress).front(), colour;
    RequireReadableSize(static_cast<std::uint64_t>(image.cols), static_cast<std::uint64_t>(image.rows), file);
    if (image.depth() == CV_16U) image.convertTo(image, CV_8U, 1.0 / 257.0);
    if (image.depth() != CV_8U) throw InputError(file + ": a colour picture has 8 or 16 bits");
    switch (image.channels()) {
        case 3: return image;
        case 4: cv::cvtColor(image, colour, cv::COLOR_BGRA2BGR); return colour;
        default: cv::cvtColor(ToGrey(image), colour, cv::COLOR_GRAY2BGR); return colour;
    }
}

std::vector<cv::Mat> ReadPages(const std::string& file, const Progress& progress) {
    return ReadUpTo(std::numeric_limits<std::size_t>::max(), file, progress);
}

cv::Mat DecodePicture(const Bytes& bytes, const std::string& file) {
    return Checked(Decode(bytes, file, 1).front(), file);
}

cv::Mat ReadPicture(const std::string& file, const Progress& progress) { return ReadUpTo(1, file, progress).front(); }

std::vector<std::string> ListPictures(const std::string& folder) {
    std::vector<std::string> files;
    std::error_code error;
    for (const std::filesystem::path& entry : EntriesOf(folder, error)) {
        const bool hidden = entry.filename().string()[0] == '.';
        if (!hidden && FindFormat(entry.string())) files.push_back(entry.string());
    }
    if (error) throw InputError(folder + ": cannot be read: " + error.message());
    std::sort(files.begin(), files.end());
    return files;
}

void RequireWritableName(const std::string& file) {
    const Format* const format = FindFormat(file);
    if (!format || format->depths == 0) throw InputError(file + ": the name must end with .png, .bmp, .tiff or .npy");
}

std::vector<std::uint8_t> EncodePicture(const std::string& name, const cv::Mat& image, const Progress& progress) {
    RequireWritableName(name);
    RequireOneSize({name, image});
    const Format& format = *FindFormat(name);
    const bool isColour = image.channels() == 3 && image.depth() == CV_8U;
    const bool isGrey = image.channels() == 1 && (format.depths & DepthBit(image.depth())) != 0;
    if (!isGrey && !(isColour && format.holdsColour)) {
        throw InputError(name + ": a " + format.ending + " file cannot hold " + PixelTypeName(image) + " pixels" +
                         (image.channels() > 1 ? " of several channels" : ""));
    }
    return format.encode(format, image, progress);
}

void WritePicture(const std::string& file, const cv::Mat& image, const Progress& progress) {
    const std::vector<std::uint8_t> bytes = EncodePicture(file, image, progress);
    WriteBytes(file, bytes, progress);
}

void RequireSameSize(const cv::Mat& a, const std::string& fileA, const cv::Mat& b, const std::string& fileB) {
    RequireOneSize({fileB, b}, {{fileA, a}});
}

void RequireSameKind(const cv::Mat& a, const std::string& fileA, const cv::Mat& b, const std::string& fileB) {
    RequireOneKind({fileB, b}, {{fileA, a}});
}

}  // namespace measure
