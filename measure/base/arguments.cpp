#include "measure/base/arguments.h"

#include <algorithm>
#include <cmath>

#include "measure/error.h"
#include "measure/io.h"

namespace measure {

std::string PixelTypeName(const cv::Mat& image) {
    switch (image.depth()) {
        case CV_8U: return "8-bit";
        case CV_16U: return "16-bit";
        case CV_32F: return "float";
        case CV_32S: return "32-bit integer";
        case CV_64F: return "double";
        default: return "signed";
    }
}

void RequireOneSize(const NamedImage& main, std::initializer_list<NamedImage> others) {
    if (main.image.dims > 2) throw InputError(cv::format("%s has %d dimensions", main.name.c_str(), main.image.dims));
    if (main.image.empty()) throw InputError(main.name + ": there are no pixels");
    const cv::Size size = main.image.size();
    for (const NamedImage& other : others) {
        const cv::Mat& image = other.image;
        if (image.empty() && other.mayBeMissing) continue;
        if (image.empty())
            throw InputError(cv::format("%s: there are no pixels, %s has %d x %d", other.name.c_str(),
                                        main.name.c_str(), size.width, size.height));
        if (image.dims > 2 || image.size() != size)
            throw InputError(cv::format("%s (%d x %d) and %s (%d x %d) must have the same size", other.name.c_str(),
                                        image.cols, image.rows, main.name.c_str(), size.width, size.height));
    }
}

void RequireOneKind(const NamedImage& main, std::initializer_list<NamedImage> others) {
    RequireOneSize(main, others);
    const auto kindOf = [](const cv::Mat& image) {
        const std::string channels = image.channels() > 1 ? cv::format(", %d channels", image.channels()) : "";
        return " (" + PixelTypeName(image) + channels + ")";
    };
    for (const NamedImage& other : others)
        if (!other.image.empty() && other.image.type() != main.image.type())
            throw InputError(other.name + kindOf(other.image) + " and " + main.name + kindOf(main.image) +
                             " must have the same pixel type");
}

void RequireSides(const std::string& name, cv::Size size) {
    if (std::max(size.width, size.height) > kMaxImageSide)
        throw InputError(
            cv::format("%s: %d x %d pixels, a side may have %d", name.c_str(), size.width, size.height, kMaxImageSide));
}

void RequireNumber(bool isPossible, const std::string& name, double value, const char* rule) {
    if (!isPossible) throw InputError(cv::format("%s is %g: it must be %s", name.c_str(), value, rule));
}

void RequirePositive(const std::string& name, double value) {
    RequireNumber(value > 0 && std::isfinite(value), name, value, "above 0");
}

void RequireNotNegative(const std::string& name, double value) {
    RequireNumber(value >= 0 && std::isfinite(value), name, value, "0 or above");
}

void RequireFinite(const std::string& name, double value) {
    RequireNumber(std::isfinite(value), name, value, "a finite number");
}

void RequireOneLength(const std::string& name, std::size_t count, const std::string& mainName, std::size_t mainCount) {
    if (count != mainCount)
        throw InputError(cv::format("%s: %zu, but %s: %zu", name.c_str(), count, mainName.c_str(), mainCount));
}

}  // namespace measure
