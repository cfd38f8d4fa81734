// The commands geometry, edges and colours.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/program.h"

using namespace test;

namespace {

TEST_F(Program, MovesAndScalesPictures) {
    const cv::Mat1b grey = Draw<uchar>(41, 27, [](int x, int y) { return 3 * x + 2 * y; });
    auto real = Draw<float>(41, 27, [](int x, int y) { return 3 * x + 2 * y; });
    Write("grey.png", grey);
    Succeed("geometry mirror grey.png --axis both --out a.png");
    Succeed("geometry turn a.png --quarters 2 --out b.png");
    EXPECT_EQ(cv::norm(Read("b.png"), grey, cv::NORM_INF), 0);
    Succeed("geometry turn grey.png --quarters -1 --out c.png");
    cv::Mat turned;
    cv::rotate(grey, turned, cv::ROTATE_90_CLOCKWISE);
    EXPECT_EQ(cv::norm(Read("c.png"), turned, cv::NORM_INF), 0);
    Succeed("geometry shift grey.png --by 0.5,-1 --border replicate --out d.png");
    EXPECT_NEAR(Read("d.png").at<uchar>(5, 7), grey(6, 7) - 1.5, 0.51);
    real(13, 20) = std::nanf("");
    Write("real.tiff", real);
    Succeed("geometry scale real.tiff --size 82x54 --mode cubic --out e.tiff");
    EXPECT_EQ(Read("e.tiff").size(), cv::Size(82, 54));
    EXPECT_NEAR(Read("e.tiff").at<float>(10, 21), 3 * 10.25 + 2 * 4.75, 1e-3);
    EXPECT_TRUE(std::isnan(Read("e.tiff").at<float>(26, 40)));
    EXPECT_NE(Succeed("geometry rotate real.tiff --degrees 30 --out f.tiff").find("41 x 27 to"), std::string::npos);
    EXPECT_TRUE(std::isnan(Read("f.tiff").at<float>(0, 0)));
    Succeed("geometry pyramid grey.png --out g.png");
    EXPECT_EQ(Read("g.png").size(), cv::Size(21, 14));
    const cv::Mat1b phase = Draw<uchar>(60, 4, [](int x, int) { return (x * 30) % 256; });
    Write("phase.png", phase);
    Succeed("geometry shift phase.png --by -0.5,0 --border replicate --period 256 --out h.png");
    for (int x = 0; x < 59; ++x) EXPECT_EQ(Read("h.png").at<uchar>(1, x), (x * 30 + 15) % 256);
    ExpectRefusals(
        {
            {"scale grey.png", "--size WxH"},
            {"scale grey.png --size 0x5", "--size=0x5"},
            {"shift grey.png --by 1", "--by=1"},
            {"rotate grey.png", "--degrees"},
            {"rotate grey.png --degrees nan", "--degrees"},
            {"pyramid phase.png --period 256", "a pyramid is not for"},
            {"shift phase.png --by 1,1 --period 255", "--period=255"},
            {"shift grey.png --by 1,1 --mode fourier", "--mode fourier is for"},
            {"scale grey.png --size 5x5 --mask phase.png", "same size"},
            {"rotate grey.png --degrees 5 --mode area", "--mode area is for"},
            {"rotate grey.png --degrees 5 --mask grey.png", "--mask is for scale and shift"},
            {"mirror grey.png --mode cubic", "--mode is for"},
            {"scale grey.png --size 32768x5", "1 to 32767"},
            {"turn grey.png --up", "--up is for pyramid, not for turn"},
            {"pyramid grey.png --fill 3", "--fill is for"},
            {"shift grey.png --by 1,1 --fill 300", "--fill=300: pixels of this picture are whole numbers from 0 to"},
            {"shift grey.png --by 1,1 --fill 0.5", "--fill=0.5: pixels"},
        },
        "geometry * --out o/a.png");
}

TEST_F(Program, FindsEdgesAndReducesColours) {
    Write("step.png", Draw<ushort>(40, 30, [](int x, int) { return x < 20 ? 1000 : 30000; }));
    Succeed("edges step.png --low 1000 --high 5000 --out edges.png");
    Succeed("edges step.png --out usual.png");
    for (const char* name : {"edges.png", "usual.png"}) {
        const cv::Mat edges = Read(name);
        EXPECT_EQ(cv::countNonZero(edges.row(15)), 1) << name;
        EXPECT_EQ(cv::countNonZero(edges(cv::Rect(19, 0, 2, 30))), cv::countNonZero(edges)) << name;
    }
    cv::Mat3b colours(20, 30);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x)
            colours(y, x) = cv::Vec3b(static_cast<uchar>(x * 8), static_cast<uchar>(y * 12), 40);
    Write("colours.png", colours);
    EXPECT_NE(Succeed("colours colours.png --colours 5 --out few.png").find("colours, PSNR"), std::string::npos);
    Write("two.png", cv::Mat3b(9, 9, cv::Vec3b(1, 2, 3)));
    EXPECT_NE(Succeed("colours two.png --colours 2 --out same.png").find("1 colours, exact"), std::string::npos);
    ExpectRefusals(
        {
            {"edges step.png --low 9 --high 5", "must not be above --high"},
            {"colours step.png --colours 1", "2 to 256"},
            {"colours colours.png --colours 300", "2 to 256"},
            {"colours none.png", "no such file"},
        },
        "* --out o/a.png");
}

}  // namespace
