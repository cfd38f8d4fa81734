#pragma once

#include <imagemodel/kraoi.h>
#include <cstdint>
#include <opencv2/core.hpp>

namespace measure {

// Views of pixels that an OpenCV image owns; the image must outlive the view.
template <class AOI>
AOI View(cv::Mat& image, const wchar_t* name) {
    const KrN::KrTSize<short> size{static_cast<short>(image.cols), static_cast<short>(image.rows)};
    CV_Assert(image.elemSize() == sizeof(typename AOI::Pixel));
    return AOI(size, image.ptr<typename AOI::Pixel>(), static_cast<std::uint32_t>(image.step[0]), name);
}

}  // namespace measure
