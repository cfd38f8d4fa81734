// Pictures of OpenCV and of plain memory as images of the first library.
#include "measure/image.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ipbase/ipLArith.h"
#include "ipbase/ipLUnwrap.h"
#include "tests/support/refusal.h"

namespace {

using namespace measure;
using test::Refusal;

template <class T>
void CheckMatrix() {
    cv::Mat_<T> whole(6, 9, T(3));
    cv::Mat_<T> part = whole(cv::Rect(2, 1, 4, 3));
    auto view = ViewOf(part);
    static_assert(std::is_same_v<typename decltype(view)::Pixel, T>);
    EXPECT_FALSE(view.IsReadOnly());
    EXPECT_EQ(4, view.AOIWidth());
    EXPECT_EQ(3, view.AOIHeight());
    view.WritePixel({3, 2}, T(7));
    EXPECT_EQ(T(7), whole(3, 5));
    const auto readOnly = ViewOf(std::as_const(part));
    EXPECT_TRUE(readOnly.IsReadOnly());
    EXPECT_EQ(T(7), readOnly.ReadPixel({3, 2}));
}

TEST(ImageViews, OfMatrices) {
    CheckMatrix<std::uint8_t>();
    CheckMatrix<std::uint16_t>();
    CheckMatrix<std::int32_t>();
    CheckMatrix<float>();
    CheckMatrix<double>();
    const cv::Mat1b none;
    EXPECT_EQ(0, ViewOf(none).AOIWidth());
    const cv::Mat1b wide(1, 40000, std::uint8_t{0});
    EXPECT_THROW(ViewOf(wide), InputError);
}

TEST(ImageViews, OfMatricesOfAnyType) {
    cv::Mat picture(3, 4, CV_16U, cv::Scalar(5));  // as a file is read
    auto view = ViewOf<std::uint16_t>(picture);
    view.WritePixel({3, 2}, 7);
    EXPECT_EQ(7, picture.at<std::uint16_t>(2, 3));
    EXPECT_TRUE(ViewOf<std::uint16_t>(std::as_const(picture)).IsReadOnly());
    EXPECT_EQ("a matrix of CV_16UC1 cannot be viewed as one of CV_8UC1",
              Refusal([&] { ViewOf<std::uint8_t>(picture); }));
    const cv::Mat colours(3, 4, CV_8UC3);
    EXPECT_EQ("a matrix of CV_8UC3 cannot be viewed as one of CV_8UC1",
              Refusal([&] { ViewOf<std::uint8_t>(colours); }));
    const int sides[] = {2, 3, 4};
    const cv::Mat1b cube(3, sides);
    EXPECT_EQ("a matrix of 3 dimensions is no picture, which has two", Refusal([&] { ViewOf(cube); }));
    std::uint8_t pixel = 0;
    EXPECT_EQ("a picture of -3 x 2 pixels is none: its sides cannot be negative",
              Refusal([&] { ViewOf(&pixel, -3, 2, 4); }));
}

TEST(ImageViews, OfMemory) {
    std::vector<float> pixels(20, 1.0f);
    auto view = ViewOf(pixels.data(), 4, 3, 5 * sizeof(float));
    view.WritePixel({0, 2}, 2.0f);
    EXPECT_EQ(2.0f, pixels[10]);
    EXPECT_TRUE(ViewOf(std::as_const(pixels).data(), 4, 3, 20).IsReadOnly());
    EXPECT_THROW(ViewOf(pixels.data(), 4, 3, 12), InputError);
    EXPECT_THROW(ViewOf(pixels.data(), 4, 3, 18), InputError);
    EXPECT_THROW(ViewOf(pixels.data(), -1, 3, 20), InputError);
    EXPECT_THROW(ViewOf(pixels.data(), 40000, 1, 160000), InputError);
    EXPECT_THROW(ViewOf(pixels.data(), 4, 3, std::size_t{1} << 32), InputError);
    EXPECT_THROW(ViewOf(static_cast<float*>(nullptr), 4, 3, 20), InputError);
}

TEST(ImageCalls, ThrowByValue) {
    const cv::Mat1b source(3, 4, std::uint8_t{5});
    cv::Mat1b sum(3, 4, std::uint8_t{0});
    cv::Mat1f wrong(3, 4, 0.0f);
    const auto in = ViewOf(source);
    auto out = ViewOf(sum), readOnly = ViewOf(source);
    auto other = ViewOf(wrong);
    KrN::KrLArithmetic arithmetic;
    EXPECT_EQ(8, Call([&] {
                  arithmetic.AddModulo(&in, 3, &out);
                  return sum(2, 3);
              }));
    int& same = Call([&]() -> int& { return *new int(4); });
    const std::unique_ptr<int> owner(&same);
    try {
        Call([&] { arithmetic.AddModulo(&in, &in, &other); });
        FAIL();
    } catch (const Error& error) {
        EXPECT_EQ("Not implemented for the pixel types 8, 8, F: AddModulo( , ,  ) (C\\ipLArith, line 105)",
                  std::string(error.what()));
    }
    EXPECT_THROW(Call([&] { arithmetic.AddModulo(&in, &in, &readOnly); }), Error);
    EXPECT_THROW(Call([&] { KrN::KrLUnWrap().Execute(&in, &in, nullptr, 0, 0, 1, 0); }), Error);
    EXPECT_THROW(Call([] { throw std::bad_alloc(); }), std::bad_alloc);
}

}  // namespace
