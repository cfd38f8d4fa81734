#include "measure/io/npy.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <regex>

#include "measure/error.h"

namespace measure {
namespace {

constexpr unsigned char kMagic[] = {0x93, 'N', 'U', 'M', 'P', 'Y'};
constexpr std::size_t kMaxHeader = 65536;  // far more than any header of a plain array

struct NpyType {
    const char* descr;
    int matType;
    std::size_t bytes;
};
constexpr NpyType kTypes[] = {
    {"<f4", CV_32F, 4}, {"<f8", CV_64F, 8}, {"|u1", CV_8U, 1},
    {"<u1", CV_8U, 1},  {"<u2", CV_16U, 2}, {"<i4", CV_32S, 4},
};

const NpyType& FindType(const std::string& descr, const std::string& file) {
    for (const NpyType& type : kTypes) {
        if (descr == type.descr) return type;
    }
    throw InputError(file + ": NPY element type '" + descr + "' is not supported (use <f4, <f8, |u1, <u2 or <i4)");
}

// The value of a key in the header's dictionary, or an empty text.
std::string Value(const std::string& header, const char* key, const char* pattern) {
    std::smatch match;
    const std::regex entry("['\"]" + std::string(key) + "['\"]\\s*:\\s*" + pattern);
    return std::regex_search(header, match, entry) ? match[1].str() : std::string();
}

struct Shape {
    std::size_t rows = 0;
    std::size_t columns = 0;
};

Shape ParseShape(const std::string& text, const std::string& file) {
    std::smatch match;
    if (!std::regex_match(text, match, std::regex("\\s*(\\d{1,9})\\s*,\\s*(\\d{1,9})\\s*,?\\s*"))) {
        throw InputError(file + ": the NPY array must have two dimensions (rows, columns), its shape is (" + text +
                         ")");
    }
    return {std::stoul(match[1].str()), std::stoul(match[2].str())};
}

}  // namespace

bool IsNpy(const std::vector<unsigned char>& bytes) {
    return bytes.size() >= sizeof kMagic && std::memcmp(bytes.data(), kMagic, sizeof kMagic) == 0;
}

cv::Mat DecodeNpy(const std::vector<unsigned char>& bytes, const std::string& file) {
    const std::string damaged = file + ": damaged NPY file: ";
    if (!IsNpy(bytes) || bytes.size() < 10) throw InputError(damaged + "the header is cut off");
    const unsigned major = bytes[6];
    if (major != 1 && major != 2)
        throw InputError(file + ": NPY version " + std::to_string(major) + " is not supported");

    const std::size_t lengthBytes = major == 1 ? 2 : 4;
    const std::size_t start = 8 + lengthBytes;
    if (bytes.size() < start) throw InputError(damaged + "the header is cut off");
    std::size_t length = 0;
    for (std::size_t i = 0; i < lengthBytes; ++i) length |= static_cast<std::size_t>(bytes[8 + i]) << (8 * i);
    if (length > kMaxHeader || length > bytes.size() - start) throw InputError(damaged + "the header is cut off");

    const std::string header(reinterpret_cast<const char*>(bytes.data()) + start, length);
    const std::string descr = Value(header, "descr", "['\"]([^'\"]{0,16})['\"]");
    const std::string order = Value(header, "fortran_order", "(True|False)");
    const std::string shape = Value(header, "shape", "\\(([^)]{0,64})\\)");
    if (descr.empty() || order.empty()) throw InputError(damaged + "the header does not describe a plain array");
    if (order == "True") throw InputError(file + ": NPY arrays in Fortran order are not supported");
    const NpyType& type = FindType(descr, file);
    const auto [rows, columns] = ParseShape(shape, file);

    const std::size_t present = bytes.size() - start - length;
    if (rows == 0 || columns == 0) throw InputError(file + ": the NPY array is empty");
    if (columns > present / type.bytes || rows > present / (columns * type.bytes)) {
        throw InputError(damaged + "it holds fewer pixels than its header says");
    }
    cv::Mat image(static_cast<int>(rows), static_cast<int>(columns), type.matType);
    std::memcpy(image.data, bytes.data() + start + length, rows * columns * type.bytes);
    if (type.matType == CV_64F) image.convertTo(image, CV_32F);
    return image;
}

std::vector<unsigned char> EncodeNpy(const cv::Mat& image) {
    const auto* const type =
        std::find_if(std::begin(kTypes), std::end(kTypes), [&](const NpyType& t) { return t.matType == image.type(); });
    CV_Assert(type != std::end(kTypes));
    std::string header =
        cv::format("{'descr': '%s', 'fortran_order': False, 'shape': (%d, %d), }", type->descr, image.rows, image.cols);
    while ((10 + header.size() + 1) % 64 != 0) header += ' ';
    header += '\n';

    std::vector<unsigned char> bytes(kMagic, kMagic + sizeof kMagic);
    bytes.insert(bytes.end(), {1, 0, static_cast<unsigned char>(header.size() & 255),
                               static_cast<unsigned char>(header.size() >> 8)});
    bytes.insert(bytes.end(), header.begin(), header.end());
    for (int y = 0; y < image.rows; ++y) {
        const unsigned char* row = image.ptr(y);
        bytes.insert(bytes.end(), row, row + static_cast<std::size_t>(image.cols) * type->bytes);
    }
    return bytes;
}

}  // namespace measure
