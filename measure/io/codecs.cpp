#include "measure/io/codecs.h"

#include "measure/base/module.h"
#include "measure/error.h"
#include "measure/io/codecs/module.h"
#include "measure/io/pnm.h"

namespace measure {
namespace {

const Codecs& GetCodecs(const std::string& file) {
    static std::string error;
    static const auto* const codecs = static_cast<const Codecs*>(LoadModule("voripcodecs", "voripCodecs", error));
    if (codecs) return *codecs;
    throw InputError(file + ": only PNG, TIFF and NPY files can be used here, as a module cannot be loaded: " + error);
}

// What a header says of a picture, as the codecs set memory aside for any; nothing where it is cut off or not known.
struct Extent {
    std::uint64_t width = 0, height = 0, bytesPerPixel = 0;  // of the decoded picture
};

std::uint64_t Number(const Bytes& bytes, std::size_t at, int count, bool bigEndian) {
    std::uint64_t number = 0;
    for (int i = 0; i < count; ++i)
        number |= std::uint64_t{bytes[at + static_cast<std::size_t>(i)]} << 8 * (bigEndian ? count - 1 - i : i);
    return number;
}

// The sides are signed numbers.
Extent ExtentOfBmp(const Bytes& bytes) {
    if (bytes.size() < 30) return {};
    const auto side = [&](std::size_t at) {
        const auto number = static_cast<std::uint32_t>(Number(bytes, at, 4, false));
        return number < 0x80000000U ? number : 0U - number;
    };
    return {side(18), side(22), Number(bytes, 28, 2, false) > 8 ? 3U : 1U};
}

// Behind the first marker that begins a frame.
Extent ExtentOfJpeg(const Bytes& bytes) {
    for (std::size_t at = 2; at + 10 <= bytes.size() && bytes[at] == 0xff;) {
        const std::uint8_t marker = bytes[at + 1];
        if (marker == 0xff) {  // fills up
            ++at;
            continue;
        }
        const bool isFrame = marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
        if (isFrame)
            return {Number(bytes, at + 7, 2, true), Number(bytes, at + 5, 2, true), bytes[at + 9] > 1 ? 3U : 1U};
        at += 2 + Number(bytes, at + 2, 2, true);
    }
    return {};
}

Extent ExtentOfWebp(const Bytes& bytes) {
    if (bytes.size() < 30) return {};
    const auto bits = Number(bytes, 21, 4, false);
    switch (bytes[15]) {  // of "VP8 ", "VP8L" and "VP8X"
        case ' ': return {Number(bytes, 26, 2, false) & 0x3fff, Number(bytes, 28, 2, false) & 0x3fff, 3};
        case 'L': return {(bits & 0x3fff) + 1, (bits >> 14 & 0x3fff) + 1, 3};
        default: return {Number(bytes, 24, 3, false) + 1, Number(bytes, 27, 3, false) + 1, 3};
    }
}

void RequireReadable(const Bytes& bytes, const std::string& file) {
    const bool isPnm = bytes[0] == 'P';
    const PnmHeader pnm = isPnm ? ReadPnmHeader(bytes, file) : PnmHeader();
    const Extent e = isPnm             ? Extent{pnm.width, pnm.height, pnm.samples * (pnm.greatest > 255 ? 2U : 1U)}
                     : bytes[0] == 'B' ? ExtentOfBmp(bytes)
                     : bytes[0] == 'R' ? ExtentOfWebp(bytes)
                                       : ExtentOfJpeg(bytes);
    RequireReadableSize(e.width, e.height, file);
    const cv::Size size(static_cast<int>(e.width), static_cast<int>(e.height));
    if (!size.empty()) RequireMemory(file, static_cast<double>(e.bytesPerPixel) * size.width * size.height, size);
    if (isPnm) RequirePnmSamples(bytes, pnm, file);
}

}  // namespace

cv::Mat DecodeByModule(const Bytes& bytes, const std::string& file) {
    RequireReadable(bytes, file);
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
