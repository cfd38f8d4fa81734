#include "measure/io.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "measure/error.h"
#include "measure/io/formats.h"
#include "measure/io/npy.h"
#include "measure/io/quietstderr.h"

namespace measure {
namespace {

// Phase images hardly compress: this takes half the time of the usual settings, for smaller files.
const std::vector<int> kPngSettings{cv::IMWRITE_PNG_COMPRESSION, 1, cv::IMWRITE_PNG_STRATEGY,
                                    cv::IMWRITE_PNG_STRATEGY_RLE};

std::vector<unsigned char> ReadBytes(const std::string& file) {
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (status.type() == std::filesystem::file_type::not_found) throw InputError(file + ": no such file");
    if (error) throw InputError(file + ": cannot be read: " + error.message());
    if (!std::filesystem::is_regular_file(status)) throw InputError(file + ": not a picture file");
    std::ifstream stream(file, std::ios::binary | std::ios::ate);
    if (!stream) throw InputError(file + ": cannot be opened for reading");
    std::vector<unsigned char> bytes(static_cast<std::size_t>(stream.tellg()));
    stream.seekg(0);
    stream.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!stream) throw InputError(file + ": cannot be read");
    return bytes;
}

bool HasKnownSignature(const std::vector<unsigned char>& bytes) {
    static const std::string signatures[] = {"\x89PNG", "BM", std::string("II*\0", 4), std::string("MM\0*", 4)};
    for (const std::string& s : signatures) {
        if (bytes.size() > s.size() && std::memcmp(bytes.data(), s.data(), s.size()) == 0) return true;
    }
    return false;
}

cv::Mat DecodePicture(const std::vector<unsigned char>& bytes, const std::string& file) {
    if (!HasKnownSignature(bytes)) throw InputError(file + ": not a PNG, TIFF, BMP or NPY file");
    cv::Mat image;
    try {
        const QuietStderr quiet;  // the codecs have their own, unspecific, messages for damaged files
        image = cv::imdecode(bytes, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception& error) {
        if (error.code == cv::Error::StsNoMem) throw std::bad_alloc();
        image.release();
    }
    if (image.empty()) throw InputError(file + ": damaged, or a kind of picture that cannot be read");
    return image;
}

cv::Mat ToGrey(const cv::Mat& image) {
    cv::Mat grey;
    switch (image.channels()) {
        case 1: return image;
        case 3: cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY); return grey;
        case 4: cv::cvtColor(image, grey, cv::COLOR_BGRA2GRAY); return grey;
        default: cv::extractChannel(image, grey, 0); return grey;
    }
}

cv::Mat ToPicture(cv::Mat image, const std::string& file) {
    if (image.cols > kMaxImageSide || image.rows > kMaxImageSide) {
        throw InputError(cv::format("%s: %d x %d pixels is too large, a side may have %d", file.c_str(), image.cols,
                                    image.rows, kMaxImageSide));
    }
    if (image.depth() == CV_64F) image.convertTo(image, CV_32F);
    const int depth = image.depth();
    if (depth != CV_8U && depth != CV_16U && depth != CV_32F && (depth != CV_32S || image.channels() != 1)) {
        throw InputError(file + ": pixels must be unsigned 8-bit, unsigned 16-bit or float");
    }
    return ToGrey(image);
}

}  // namespace

cv::Mat ReadPicture(const std::string& file) {
    const std::vector<unsigned char> bytes = ReadBytes(file);
    return ToPicture(IsNpy(bytes) ? DecodeNpy(bytes, file) : DecodePicture(bytes, file), file);
}

std::vector<cv::Mat> ReadPages(const std::string& file) {
    std::vector<cv::Mat> pages{ReadPicture(file)};
    const Format* const format = FindFormat(file);
    if (!format || std::string(format->ending).rfind(".tif", 0) != 0) return pages;
    std::vector<cv::Mat> all;
    try {
        const QuietStderr quiet;
        if (!cv::imreadmulti(file, all, cv::IMREAD_UNCHANGED)) all.clear();
    } catch (const cv::Exception&) {
        throw InputError(file + ": damaged, or a kind of picture that cannot be read");
    }
    for (std::size_t i = 1; i < all.size(); ++i) pages.push_back(ToPicture(all[i], file));
    return pages;
}

std::vector<std::string> ListPictures(const std::string& folder) {
    std::vector<std::string> files;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const bool hidden = entry.path().filename().string()[0] == '.';
        if (!hidden && FindFormat(entry.path().string())) files.push_back(entry.path().string());
    }
    if (error) throw InputError(folder + ": cannot be read: " + error.message());
    std::sort(files.begin(), files.end());
    return files;
}

void RequireWritableName(const std::string& file) {
    if (!FindFormat(file)) throw InputError(file + ": the name must end with .png, .bmp, .tiff or .npy");
}

std::vector<unsigned char> EncodePicture(const std::string& name, const cv::Mat& image) {
    RequireWritableName(name);
    const Format& format = *FindFormat(name);
    if ((format.depths >> image.depth() & 1) == 0) {
        throw InputError(name + ": a " + format.ending + " file cannot hold " + PixelTypeName(image) + " pixels");
    }
    if (std::string(format.ending) == ".npy") return EncodeNpy(image);
    std::vector<unsigned char> bytes;
    if (!cv::imencode(format.ending, image, bytes, kPngSettings)) throw OutputError(name + ": cannot be encoded");
    return bytes;
}

std::string PixelTypeName(const cv::Mat& image) {
    switch (image.depth()) {
        case CV_8U: return "8-bit";
        case CV_16U: return "16-bit";
        case CV_32F: return "float";
        default: return "32-bit integer";
    }
}

void RequireSameSize(const cv::Mat& a, const std::string& fileA, const cv::Mat& b, const std::string& fileB) {
    if (a.size() == b.size()) return;
    throw InputError(cv::format("%s (%d x %d) and %s (%d x %d) must have the same size", fileA.c_str(), a.cols, a.rows,
                                fileB.c_str(), b.cols, b.rows));
}

void RequireSameKind(const cv::Mat& a, const std::string& fileA, const cv::Mat& b, const std::string& fileB) {
    RequireSameSize(a, fileA, b, fileB);
    if (a.type() == b.type()) return;
    throw InputError(fileA + " (" + PixelTypeName(a) + ") and " + fileB + " (" + PixelTypeName(b) +
                     ") must have the same pixel type");
}

}  // namespace measure
