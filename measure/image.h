#pragma once

#include <imagemodel/kraoi.h>

#include <limits>
#include <opencv2/core.hpp>
#include <type_traits>
#include <utility>

#include "measure/error.h"

// The images of the first library (ipbase/) as C++ programs have them: views of OpenCV matrices and of plain memory,
// without casts and copies, and its errors by value.
//
//     cv::Mat1b picture = …, smooth(picture.size());
//     auto from = measure::ViewOf(std::as_const(picture));
//     auto to = measure::ViewOf(smooth);
//     measure::Call([&] { KrN::KrFilterMedian().Execute({5, 5}, &from, &to, nullptr, KrN::eIgnoreMask); });
namespace measure {

// The image class for pixels of type T: std::uint8_t, std::uint16_t, std::int32_t, float, double.
template <class T>
using ImageOf = std::conditional_t<
    std::is_same_v<T, std::uint8_t>, KrN::KrAOI8,
    std::conditional_t<std::is_same_v<T, std::uint16_t>, KrN::KrAOI16,
                       std::conditional_t<std::is_same_v<T, std::int32_t>, KrN::KrAOI32,
                                          std::conditional_t<std::is_same_v<T, float>, KrN::KrAOI32Float,
                                                             std::conditional_t<std::is_same_v<T, double>,
                                                                                KrN::KrAOI64Double, void>>>>>;

// Runs `call` and returns what it returns. An error that the first library throws as a pointer is thrown as an Error by
// value, with its message, and deleted; other errors pass.
template <class F>
auto Call(F&& call) -> decltype(std::forward<F>(call)()) {
    try {
        return std::forward<F>(call)();
    } catch (const KrN::KrException* error) {
        const Error copy(error->what());
        delete error;
        throw copy;
    }
}

// A view of pixels that the caller owns, `stride` bytes from row to row; of const pixels a read-only one. They must
// outlive the view and all views and copies of it. Throws InputError when a side is negative or above 32767, when a row
// is wider than the stride, when the stride is above 4 GB, and when pixels or stride are not aligned for the pixel
// type.
template <class T>
ImageOf<std::remove_const_t<T>> ViewOf(T* pixels, int width, int height, std::size_t stride) {
    using Image = ImageOf<std::remove_const_t<T>>;
    static_assert(!std::is_void_v<Image>,
                  "images have pixels of std::uint8_t, std::uint16_t, std::int32_t, float or double");
    constexpr int longest = std::numeric_limits<short>::max();
    const bool isNegative = width < 0 || height < 0;
    if (isNegative || width > longest || height > longest)
        throw InputError("a picture of " + std::to_string(width) + " x " + std::to_string(height) + " pixels is " +
                         (isNegative ? "none: its sides cannot be negative" : "too large: its sides may have 32767"));
    if (stride > std::numeric_limits<std::uint32_t>::max())
        throw InputError("rows of pictures may be at most 4 GB apart");
    if (!pixels && width > 0 && height > 0) throw InputError("a picture has no pixels");
    const KrN::KrTSize<short> size(static_cast<short>(width), static_cast<short>(height));
    try {
        return Call([&] { return Image(size, pixels, static_cast<std::uint32_t>(stride)); });
    } catch (const Error& error) {
        throw InputError(error.what());
    }
}

// A view of a matrix whose pixel type the compiler does not know, as cv::imread returns it, also of a part of one; of a
// const matrix a read-only one: ViewOf<std::uint8_t>(matrix). The view does not keep the matrix alive, so that a
// temporary one is refused. Throws as above, and InputError when the matrix has pixels of another type, several
// channels or more than two dimensions.
template <class T>
void RequirePixels(const cv::Mat& image) {
    if (image.dims > 2)
        throw InputError("a matrix of " + std::to_string(image.dims) + " dimensions is no picture, which has two");
    constexpr int type = cv::traits::Type<T>::value;
    if (image.type() != type)
        throw InputError("a matrix of " + cv::typeToString(image.type()) + " cannot be viewed as one of " +
                         cv::typeToString(type));
}
template <class T>
ImageOf<T> ViewOf(cv::Mat& image) {
    RequirePixels<T>(image);
    return ViewOf(image.ptr<T>(), image.cols, image.rows, image.step[0]);
}
template <class T>
ImageOf<T> ViewOf(const cv::Mat& image) {
    RequirePixels<T>(image);
    return ViewOf(image.ptr<T>(), image.cols, image.rows, image.step[0]);
}
template <class T>
void ViewOf(const cv::Mat&& image) = delete;

// The same of a matrix whose type is known: ViewOf(matrix).
template <class T>
ImageOf<T> ViewOf(cv::Mat_<T>& image) {
    return ViewOf<T>(static_cast<cv::Mat&>(image));
}
template <class T>
ImageOf<T> ViewOf(const cv::Mat_<T>& image) {
    return ViewOf<T>(static_cast<const cv::Mat&>(image));
}
template <class T>
void ViewOf(const cv::Mat_<T>&& image) = delete;

}  // namespace measure
