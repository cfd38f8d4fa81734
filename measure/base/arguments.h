#pragma once

#include <initializer_list>
#include <opencv2/core.hpp>
#include <string>

// What public functions refuse, in the same words everywhere: each throws InputError.
namespace measure {

// An image and what texts call it: "the mask", "sines[0].frames[2]" or the name of its file.
struct NamedImage {
    std::string name;
    const cv::Mat& image;
    bool mayBeMissing = false;
};
inline constexpr bool kOptional = true;

// Of images that belong together every pixel of one is about the same pixel of the others: the first one has pixels,
// and the others have its size. The text names the image that does not fit, and both sizes.
void RequireOneSize(const NamedImage& main, std::initializer_list<NamedImage> others = {});
// Also one type.
void RequireOneKind(const NamedImage& main, std::initializer_list<NamedImage> others);

// The sides that views have (see image.h).
void RequireSides(const std::string& name, cv::Size size);

// "the period is nan: it must be above 0", unless the number is possible.
void RequireNumber(bool isPossible, const std::string& name, double value, const char* rule);
// The rules that most numbers follow. Infinite ones follow none of them.
void RequirePositive(const std::string& name, double value);
void RequireNotNegative(const std::string& name, double value);
void RequireFinite(const std::string& name, double value);

// Of lists with one value for each of something.
void RequireOneLength(const std::string& name, std::size_t count, const std::string& mainName, std::size_t mainCount);

}  // namespace measure
