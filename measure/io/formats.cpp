#include "measure/io/formats.h"

#include <cctype>
#include <filesystem>
#include <opencv2/core.hpp>

namespace measure {
namespace {

constexpr int k8 = 1 << CV_8U, k16 = 1 << CV_16U, k32 = 1 << CV_32S, kFloat = 1 << CV_32F;

constexpr Format kFormats[] = {
    {".png", k8 | k16},
    {".bmp", k8},
    {".tiff", k8 | k16 | kFloat},
    {".tif", k8 | k16 | kFloat},
    {".npy", k8 | k16 | k32 | kFloat},
};

}  // namespace

const Format* FindFormat(const std::string& file) {
    std::string ending = std::filesystem::path(file).extension().string();
    for (char& c : ending) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const Format& format : kFormats) {
        if (ending == format.ending) return &format;
    }
    return nullptr;
}

}  // namespace measure
