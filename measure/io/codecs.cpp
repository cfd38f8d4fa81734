#include "measure/io/codecs.h"

#include "measure/base/module.h"
#include "measure/error.h"
#include "measure/io/codecs/module.h"

namespace measure {
namespace {

const Codecs& GetCodecs(const std::string& file) {
    static std::string error;
    static const auto* const codecs = static_cast<const Codecs*>(LoadModule("voripcodecs", "voripCodecs", error));
    if (codecs) return *codecs;
    throw InputError(file + ": only PNG, TIFF and NPY files can be used here, as a module cannot be loaded: " + error);
}

// The sizes of a BMP file stand in its header, as signed numbers. The codec would set memory aside for any.
void RequireReadableBmp(const Bytes& bytes, const std::string& file) {
    if (bytes.size() < 29 || bytes[0] != 'B' || bytes[1] != 'M') return;
    const auto side = [&](std::size_t at) {
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < 4; ++i) number |= std::uint32_t{bytes[at + i]} << (8 * i);
        return number < 0x80000000U ? number : 0U - number;
    };
    const std::uint32_t width = side(18), height = side(22);
    RequireReadableSize(width, height, file);
    const cv::Size size(static_cast<int>(width), static_cast<int>(height));
    RequireMemory(file, static_cast<double>(bytes[28] > 8 ? 3 : 1) * size.width * size.height, size);
}

}  // namespace

cv::Mat DecodeByModule(const Bytes& bytes, const std::string& file) {
    RequireReadableBmp(bytes, file);
    cv::Mat image = GetCodecs(file).decode(bytes);
    if (image.empty()) throw InputError(file + ": damaged, or a kind of picture that cannot be read");
    return image;
}

Bytes EncodeByModule(const char* ending, const cv::Mat& image) {
    Bytes bytes = GetCodecs(std::string("*") + ending).encode(ending, image);
    if (bytes.empty()) throw InputError(std::string("the picture cannot be encoded as ") + ending);
    return bytes;
}

}  // namespace measure
