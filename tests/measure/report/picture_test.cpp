// Pictures of results: what is drawn where, and what is refused.
#include "measure/picture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <opencv2/imgproc.hpp>

#include "measure/error.h"
#include "measure/surface.h"

namespace {

constexpr int kSide = 500;  // drawn pixel by pixel

// The drawn part of a picture: where the columns and rows of the image stand is found from a lone bright pixel.
cv::Point FindOrigin(cv::Size size) {
    cv::Mat1b corner(size, uchar{0});
    corner(0, 0) = 255;
    measure::PictureStyle style;
    style.map = measure::ColourMap::eGrey;
    style.range = measure::ValueRange{0, 255};
    const cv::Mat3b picture = measure::DrawPicture(corner, style);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x + 1 < picture.cols; ++x) {
            const bool lone = picture(y, x) == cv::Vec3b(255, 255, 255) && picture(y, x + 1) == cv::Vec3b(0, 0, 0);
            if (lone && picture(y + 1, x) == cv::Vec3b(0, 0, 0)) return {x, y};
        }
    }
    ADD_FAILURE() << "the picture does not show the image";
    return {};
}

bool IsGrey(const cv::Vec3b& c) { return c[0] == c[1] && c[1] == c[2]; }

int Lightness(const cv::Vec3b& c) { return 114 * c[0] + 587 * c[1] + 299 * c[2]; }

TEST(Picture, ShowsValuesInColours) {
    cv::Mat1f ramp(kSide, kSide);
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x) ramp(y, x) = static_cast<float>(x);
    cv::Mat1b mask(ramp.size(), uchar{255}), marks(ramp.size(), uchar{0});
    ramp(10, 250) = NAN;
    ramp(11, 250) = INFINITY;
    mask(12, 250) = 127;
    marks(13, 250) = 1;
    const cv::Point o = FindOrigin(ramp.size());

    measure::PictureStyle style;
    style.range = measure::ValueRange{0, kSide - 1};
    style.mask = mask;
    style.marks = marks;
    const cv::Mat3b picture = measure::DrawPicture(ramp, style);
    constexpr int kRounding = 1000;  // of colours to bytes
    for (int x = 1; x < kSide; ++x)
        EXPECT_GT(Lightness(picture(o.y, o.x + x)) + kRounding, Lightness(picture(o.y, o.x + x - 1)));
    EXPECT_GT(Lightness(picture(o.y, o.x + kSide - 1)), 4 * Lightness(picture(o.y, o.x)));
    for (const int y : {10, 11, 12}) EXPECT_TRUE(IsGrey(picture(o.y + y, o.x + 250))) << y;
    EXPECT_FALSE(IsGrey(picture(o.y + 20, o.x + 250)));
    EXPECT_GT(picture(o.y + 13, o.x + 250)[2], 200);

    measure::PictureStyle cyclic;
    cyclic.period = 128;
    const cv::Mat3b wrapped = measure::DrawPicture(ramp, cyclic);
    for (int x = 0; x + 128 < kSide; ++x) EXPECT_EQ(wrapped(o.y, o.x + x), wrapped(o.y, o.x + x + 128)) << x;

    measure::PictureStyle lines;
    lines.contours = 4;
    lines.range = style.range;
    const cv::Mat3b contours = measure::DrawPicture(ramp, lines);
    int dark = 0;
    for (int x = 1; x + 1 < kSide; ++x)
        dark += Lightness(contours(o.y, o.x + x)) < Lightness(contours(o.y, o.x + x - 1)) / 2;
    EXPECT_EQ(dark, 4);
}

TEST(Picture, DrawsEveryPixelTypeAndSize) {
    for (const int depth : {CV_8U, CV_16U, CV_32S, CV_32F, CV_64F}) {
        for (const cv::Size size : {cv::Size(1, 1), cv::Size(1, 700), cv::Size(700, 1), cv::Size(33, 20)}) {
            measure::PictureStyle style;
            style.shade = true;
            style.contours = 3;
            style.components = cv::Mat1i(size, 1);
            const cv::Mat3b picture = measure::DrawPicture(cv::Mat(size, depth, cv::Scalar(7)), style);
            EXPECT_GT(picture.cols, size.width);
            EXPECT_GT(picture.rows, size.height);
            style.shade = false;
            EXPECT_EQ(cv::norm(picture, measure::DrawPicture(cv::Mat(size, depth, cv::Scalar(7)), style)), 0)
                << "level ground has no shade";
        }
    }
    EXPECT_FALSE(measure::DrawPicture(cv::Mat1f(4, 4, NAN)).empty());
}

// A shaded tilt has one brightness, however noisy its pixels are.
TEST(Picture, ShadesSurfacesNotTheirNoise) {
    cv::Mat1f noisy(kSide, kSide);
    cv::RNG random(3);
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x)
            noisy(y, x) = static_cast<float>(0.02 * x + (x < 250 ? 0.03 : -0.03) * y + random.gaussian(0.03));
    measure::PictureStyle style;
    style.range = measure::ValueRange{-1e6, 1e6};  // one colour
    style.shade = true;
    const cv::Mat3b picture = measure::DrawPicture(noisy, style);
    const cv::Point o = FindOrigin(noisy.size());
    cv::Scalar meanLeft, meanRight, left, right;
    cv::meanStdDev(picture(cv::Rect(o.x + 20, o.y + 20, 200, 400)), meanLeft, left);
    cv::meanStdDev(picture(cv::Rect(o.x + 280, o.y + 20, 200, 400)), meanRight, right);
    EXPECT_GT(std::abs(meanLeft[1] - meanRight[1]), 4 * std::max(left[1], right[1]));
}

// The marks at the axes stand at the middles of pixels, evenly, from the first pixel to the last.
TEST(Picture, HasAxesThatCountPixels) {
    const cv::Size size(501, 401);
    const cv::Mat3b picture = measure::DrawPicture(cv::Mat1b(size, uchar{0}));
    const cv::Point o = FindOrigin(size);
    const cv::Mat drawn = picture(cv::Rect(o, size));
    EXPECT_EQ(cv::norm(drawn, cv::Mat(drawn.size(), drawn.type(), cv::Scalar(picture(o))), cv::NORM_INF), 0)
        << "nothing else stands on the image";
    std::vector<int> columns, rows;
    const auto isInk = [&](int x, int y) { return picture(y, x) != picture(0, 0); };
    for (int x = 0; x < size.width; ++x)
        if (isInk(o.x + x, o.y + size.height)) columns.push_back(x);
    for (int y = 0; y < size.height; ++y)
        if (isInk(o.x - 3, o.y + y)) rows.push_back(y);
    for (const auto& [marks, last] : {std::pair(columns, size.width - 1), {rows, size.height - 1}}) {
        ASSERT_GT(marks.size(), 2U);
        EXPECT_EQ(marks.front(), 0);
        EXPECT_EQ(marks.back(), last);
        for (std::size_t i = 1; i < marks.size(); ++i)
            EXPECT_EQ(marks[i] - marks[i - 1], last / static_cast<int>(marks.size() - 1));
    }
}

TEST(Picture, TellsComponentsApart) {
    cv::Mat1i numbers(600, 600, 0);
    for (int i = 1; i <= 20; ++i) numbers(cv::Rect(0, 30 * (i - 1), 2, 30)) = i;
    const cv::Mat3b picture = measure::DrawComponents(numbers);
    EXPECT_EQ(picture(5, 300), cv::Vec3b(0, 0, 0));
    // The number of a ring stands on the ring, not in its middle.
    cv::Mat1i ring(600, 600, 0);
    cv::circle(ring, {300, 300}, 250, 7, 40);
    const cv::Mat3b drawn = measure::DrawComponents(ring);
    EXPECT_EQ(cv::countNonZero(drawn(cv::Rect(150, 150, 300, 300)).reshape(1)), 0);
    EXPECT_GT(cv::countNonZero(drawn.reshape(1) == 255), 10);
    measure::PictureStyle style;
    style.step = 2;
    const cv::Mat3b framed = measure::DrawComponents(ring, style);
    EXPECT_GT(framed.cols, 300);
    EXPECT_TRUE(IsGrey(framed(framed.rows / 2, framed.cols / 2)));
    for (int i = 1; i < 20; ++i) EXPECT_GT(cv::norm(picture(30 * i - 10, 1), picture(30 * i + 10, 1)), 60) << i;
}

// A number stands in the middle of its component, if that has a share of 1/400 of all pixels.
TEST(Picture, NumbersStandOnTheirComponents) {
    cv::Mat1i numbers(20, 20, 0);
    numbers(4, 5) = 300;
    numbers(cv::Rect(13, 11, 3, 3)) = 288;
    const cv::Mat3b picture = measure::DrawComponents(numbers);
    constexpr int kZoom = 24;
    ASSERT_EQ(picture.size(), numbers.size() * kZoom);
    cv::Mat1b ink;
    cv::inRange(picture, cv::Scalar::all(150), cv::Scalar::all(255), ink);
    for (const cv::Point at : {cv::Point(5, 4), {14, 12}}) {
        const cv::Rect around((at - cv::Point(2, 1)) * kZoom, cv::Size(5, 3) * kZoom);
        const cv::Rect box = cv::boundingRect(ink(around));
        EXPECT_NEAR(box.x + 0.5 * box.width, 2.5 * kZoom, 1.5);
        EXPECT_NEAR(box.y + 0.5 * box.height, 1.5 * kZoom, 1.5);
        ink(around) = 0;
    }
    EXPECT_EQ(cv::countNonZero(ink), 0);
}

TEST(Picture, DrawsEveryStepthPixel) {
    for (const int depth : {CV_8U, CV_16U, CV_32F, CV_64F})
        for (const int step : {2, 3}) {
            cv::Mat image(step * 500 + 1, step * 510 + 1, depth);
            cv::randu(image, 0, 255);
            cv::Mat reduced(501, 511, depth);
            for (int y = 0; y < reduced.rows; ++y)
                for (int x = 0; x < reduced.cols; ++x) {
                    const cv::Rect from(x * step, y * step, 1, 1), to(x, y, 1, 1);
                    image(from).copyTo(reduced(to));
                }
            measure::PictureStyle style;
            style.range = measure::ValueRange{0, 255};
            const cv::Mat3b expected = measure::DrawPicture(reduced, style);
            style.step = step;
            const cv::Mat3b picture = measure::DrawPicture(image, style);
            ASSERT_EQ(picture.size(), expected.size());
            const cv::Rect drawn(FindOrigin(reduced.size()), reduced.size());
            EXPECT_EQ(cv::norm(picture(drawn), expected(drawn), cv::NORM_INF), 0) << depth << ' ' << step;
        }
}

TEST(Picture, RemovesThePlaneOfTheAdmittedPixels) {
    cv::Mat1f values(40, 60);
    cv::Mat1b mask(values.size(), uchar{255});
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 60; ++x) values(y, x) = 0.25f * static_cast<float>(x) - 2.0f * static_cast<float>(y) + 7.0f;
    values(3, 4) = NAN;
    values(5, 6) += 100.0f;
    mask(5, 6) = 0;
    const cv::Mat1f level = measure::RemovePlane(values, mask);
    EXPECT_TRUE(std::isnan(level(3, 4)));
    EXPECT_NEAR(level(5, 6), 100.0f, 1e-3f);
    EXPECT_NEAR(level(0, 0), 0.0f, 1e-4f);
    EXPECT_NEAR(level(39, 59), 0.0f, 1e-4f);
    EXPECT_EQ(measure::RemovePlane(values, cv::Mat1b(values.size(), uchar{0}))(0, 0), values(0, 0));
}

}  // namespace
