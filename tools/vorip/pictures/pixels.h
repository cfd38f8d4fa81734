#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <utility>

#include "measure/image.h"
#include "measure/io.h"
#include "tools/vorip/session/failure.h"

namespace vorip {

namespace pixels {

template <class Pixel>
std::string NameOf() {
    return measure::PixelTypeName(cv::Mat(1, 1, cv::traits::Type<Pixel>::value));
}

inline std::string List(const std::vector<std::string>& names) {
    std::string list;
    for (std::size_t i = 0; i < names.size(); ++i)
        list += (i == 0 ? "" : i + 1 < names.size() ? ", " : " or ") + names[i];
    return list;
}

template <class Result, class Visit, class Pixel, class... Others>
Result Visited(const cv::Mat& image, const Visit& visit) {
    if constexpr (sizeof...(Others) > 0)
        if (image.type() != cv::traits::Type<Pixel>::value) return Visited<Result, Visit, Others...>(image, visit);
    cv::Mat_<Pixel> typed(image);
    return visit(typed);
}

}  // namespace pixels

// Calls `visit` with the image as a matrix of its pixels' type, which shares the pixels, when that type is among
// `Pixels`. Others are refused: "FILE: `what` is 8-bit or float, this is 16-bit".
template <class Pixel, class... Others, class Visit>
auto VisitPixels(const cv::Mat& image, const std::string& file, const std::string& what, const Visit& visit) {
    using Result = decltype(visit(std::declval<cv::Mat_<Pixel>&>()));
    const int type = image.type();
    if (!((type == cv::traits::Type<Pixel>::value) || ... || (type == cv::traits::Type<Others>::value)))
        Refuse(file + ": " + what + " is " + pixels::List({pixels::NameOf<Pixel>(), pixels::NameOf<Others>()...}) +
               ", this is " + measure::PixelTypeName(image));
    return pixels::Visited<Result, Visit, Pixel, Others...>(image, visit);
}

}  // namespace vorip
