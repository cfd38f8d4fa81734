#pragma once

#include <ipbase/voripbase.h>
#include <cstdint>
#include <opencv2/core.hpp>
#include <optional>
#include <string>

namespace vorip {

// A wrapped phase, as the unwrappers take it.
struct PhaseImage {
    cv::Mat steps;     // CV_8U, 256 steps per period
    cv::Mat residual;  // CV_32F, radians: what the file says beyond `steps`; empty for an 8-bit file
    cv::Mat usable;    // CV_8U, 255 where the file holds a phase, 0 where it holds NaN or infinity
};

// 8-bit files have 256 steps per period, 16-bit files 65,536, float files are in radians.
PhaseImage ReadPhase(const std::string& file);

// Mask files are 8-bit: 128 and above is usable. The result holds 255 and 0.
cv::Mat ReadMask(const std::string& file);

// A grey picture in 8 bits; of 16 bits the upper 8 are used.
cv::Mat ReadGrey8(const std::string& file);

// Quality: higher is better. Of 16 bits the upper 8 are used, float values are scaled so that the largest becomes 255.
cv::Mat ReadQuality(const std::string& file);

// The mask convention of the region-based unwrapper: 128 excludes a pixel, 0 admits it.
cv::Mat ToUnwrapMask(const cv::Mat& usable);

// Two numbers as in "120,80".
template <class T>
struct Pair {
    T first;
    T second;
};
std::optional<Pair<int>> ParsePoint(const std::string& text);
// Numbers separated by commas; nothing when the text is anything else.
std::optional<std::vector<double>> ParseNumbers(const std::string& text);

// Views of pixels that an OpenCV image owns; the image must outlive the view.
template <class AOI>
AOI View(cv::Mat& image, const wchar_t* name) {
    const KrN::KrTSize<short> size{static_cast<short>(image.cols), static_cast<short>(image.rows)};
    CV_Assert(image.elemSize() == sizeof(typename AOI::Pixel));
    return AOI(size, image.ptr<typename AOI::Pixel>(), static_cast<std::uint32_t>(image.step[0]), name);
}

}  // namespace vorip
