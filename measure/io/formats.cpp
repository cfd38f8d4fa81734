#include "measure/io/formats.h"

#include <cctype>
#include <cstring>

#include "measure/io/codecs.h"
#include "measure/io/npy.h"
#include "measure/io/npz.h"
#include "measure/io/png.h"
#include "measure/io/tiff.h"

namespace measure {
namespace {

constexpr int k8 = DepthBit(CV_8U), k16 = DepthBit(CV_16U), k32 = DepthBit(CV_32S), kFloat = DepthBit(CV_32F);

bool StartsWith(const Bytes& bytes, const char* text, std::size_t length, std::size_t at = 0) {
    return bytes.size() >= at + length && std::memcmp(bytes.data() + at, text, length) == 0;
}
bool IsBmp(const Bytes& bytes) { return StartsWith(bytes, "BM", 2); }
bool IsJpeg(const Bytes& bytes) { return StartsWith(bytes, "\xff\xd8\xff", 3); }
bool IsWebp(const Bytes& bytes) { return StartsWith(bytes, "RIFF", 4) && StartsWith(bytes, "WEBP", 4, 8); }
bool IsPnm(const Bytes& bytes) {
    return bytes.size() > 2 && bytes[0] == 'P' && bytes[1] >= '1' && bytes[1] <= '6' && std::isspace(bytes[2]) != 0;
}

template <cv::Mat (*decode)(const Bytes&, const std::string&)>
std::vector<cv::Mat> OnePage(const Bytes& bytes, const std::string& file, std::size_t, const Progress&) {
    return {decode(bytes, file)};
}
std::vector<cv::Mat> OnePng(const Bytes& bytes, const std::string& file, std::size_t, const Progress& progress) {
    return {DecodePng(bytes, file, progress)};
}
template <Bytes (*encode)(const cv::Mat&, const Progress&)>
Bytes Plainly(const Format&, const cv::Mat& image, const Progress& progress) {
    return encode(image, progress);
}
Bytes AsNpy(const Format&, const cv::Mat& image, const Progress&) { return EncodeNpy(image); }
Bytes ByModule(const Format& format, const cv::Mat& image, const Progress&) {
    return EncodeByModule(format.ending, image);
}

// The one table of what the library reads and writes.
constexpr Format kFormats[] = {
    {".png", k8 | k16, true, IsPng, OnePng, Plainly<EncodePng>},
    {".bmp", k8, true, IsBmp, OnePage<DecodeByModule>, ByModule},
    {".tiff", k8 | k16 | k32 | kFloat, true, IsTiff, DecodeTiff, Plainly<EncodeTiff>},
    {".tif", k8 | k16 | k32 | kFloat, true, IsTiff, DecodeTiff, Plainly<EncodeTiff>},
    {".npy", k8 | k16 | k32 | kFloat, false, IsNpy, OnePage<DecodeNpy>, AsNpy},
    {".npz", 0, false, IsNpz, OnePage<DecodeNpz>, nullptr},
    {".jpg", 0, false, IsJpeg, OnePage<DecodeByModule>, nullptr},
    {".jpeg", 0, false, IsJpeg, OnePage<DecodeByModule>, nullptr},
    {".webp", 0, false, IsWebp, OnePage<DecodeByModule>, nullptr},
    {".pgm", 0, false, IsPnm, OnePage<DecodeByModule>, nullptr},
    {".ppm", 0, false, IsPnm, OnePage<DecodeByModule>, nullptr},
};

}  // namespace

const Format* FindFormat(const std::string& file) {
    const std::string ending = EndingOf(file);
    for (const Format& format : kFormats)
        if (ending == format.ending) return &format;
    return nullptr;
}

const Format* FindFormat(const Bytes& bytes) {
    for (const Format& format : kFormats)
        if (format.isThis(bytes)) return &format;
    return nullptr;
}

}  // namespace measure
