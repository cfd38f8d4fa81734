// The commands `vorip filter` and `vorip shade`.
#include <gtest/gtest.h>

#include <limits>

#include "tests/support/program.h"

using namespace test;

namespace {

// 10 everywhere but 100 in the middle of 5 x 5 pixels, and 220 in a corner, which the mask leaves out.
cv::Mat Dot(int depth) {
    cv::Mat image(5, 5, depth, cv::Scalar(10));
    image(cv::Rect(2, 2, 1, 1)) = cv::Scalar(100);
    image(cv::Rect(0, 0, 1, 1)) = cv::Scalar(220);
    return image;
}

TEST_F(Program, FilterAppliesEveryKind) {
    for (const auto& [depth, name] : {std::pair{CV_8U, "8.png"}, {CV_16U, "16.TIF"}, {CV_32F, "f.tiff"}})
        Write(name, Dot(depth));
    Write("spots.png", cv::Mat((cv::Mat_<uchar>(1, 5) << 0, 255, 255, 255, 254)));
    cv::Mat mask(5, 5, CV_8U, cv::Scalar(128));
    mask.at<uchar>(0, 0) = 127;
    Write("mask.png", mask);
    WriteBytes("k.txt", "# weights\n1,-2, 3\n\n 0 +4\t0 # below\r\n");
    WriteBytes("edge.txt", "-1 1");
    const struct {
        const char* arguments;
        std::vector<double> row, column;  // through the middle of the result
    } cases[] = {
        {"gauss 8.png --size 3x1", {10, 33, 55, 33, 10}, {10, 10, 55, 10, 10}},
        {"mean 16.TIF --size 1x3", {10, 10, 40, 10, 10}, {10, 40, 40, 40, 10}},
        {"mean f.tiff --size 3x3 --mask mask.png", {10, 20, 20, 20, 10}, {10, 20, 20, 20, 10}},
        {"median 16.TIF", {10, 10, 10, 10, 10}, {10, 10, 10, 10, 10}},
        {"erosion f.tiff --size 1x2", {10, 10, 10, 10, 10}, {10, 10, 10, 10, 10}},
        {"dilatation 8.png --size 5x2", {100, 100, 100, 100, 100}, {220, 220, 100, 100, 10}},
        {"dilatation 8.png --size 5x5", {220, 220, 220, 100, 100}, {220, 220, 220, 100, 100}},
        {"dilatation 8.png --size 5x5 --mask mask.png", {100, 100, 100, 100, 100}, {100, 100, 100, 100, 100}},
        {"binary-erosion spots.png --size 2x1", {0, 0, 255, 0, 254}, {255}},
        {"binary-dilatation spots.png --size 2x1", {255, 255, 255, 255, 255}, {255}},
        {"binomial 8.png --size 2x3", {10, 33, 33, 10, 10}, {10, 21, 33, 21, 10}},
        {"recursive f.tiff --alpha 0", {10, 10, 100, 10, 10}, {10, 10, 100, 10, 10}},
        {"kernel f.tiff --kernel k.txt", {10, 10, 70, 10, 10}, {10, 10, 70, -20, 10}},
        {"kernel f.tiff --kernel k.txt --divisor -3", {-20, -20, -140, -20, -20}, {-20, -20, -140, 40, -20}},
        {"kernel f.tiff --kernel edge.txt", {0, 0, 90, -90, 0}, {0, 0, 90, 0, 0}},
    };
    for (const auto& c : cases) {
        const std::string out = std::string(c.arguments).find("f.tiff") == std::string::npos ? "o/x.png" : "o/x.tif";
        Succeed(std::string("filter --out ") + out + " " + c.arguments);
        cv::Mat result;
        Read(out).convertTo(result, CV_64F);
        EXPECT_EQ(c.row, std::vector<double>(result.row(result.rows / 2))) << c.arguments;
        EXPECT_EQ(c.column, std::vector<double>(result.col(2))) << c.arguments;
    }
}

// Gaps of an unwrapped phase stay gaps and do not spoil what is around them.
TEST_F(Program, FilterLeavesOutWhatIsNotFinite) {
    cv::Mat in(9, 9, CV_32F, cv::Scalar(4));
    in.at<float>(4, 4) = std::numeric_limits<float>::quiet_NaN();
    in.at<float>(2, 7) = std::numeric_limits<float>::infinity();
    in.at<float>(0, 3) = in.at<float>(5, 0) = std::numeric_limits<float>::quiet_NaN();
    WriteBytes("gaps.npy", Npy("<f4", in));
    WriteBytes("k.txt", "1 1 1");
    for (const char* kind : {"median gaps.npy", "mean gaps.npy --size 9x9", "gauss gaps.npy --size 5x4",
                             "kernel gaps.npy --kernel k.txt"}) {
        Succeed(std::string("filter --out out.tiff ") + kind);
        const cv::Mat out = Read("out.tiff");
        EXPECT_EQ(cv::countNonZero(out == 4), 77) << kind;
        EXPECT_TRUE(std::isnan(out.at<float>(4, 4)) && std::isinf(out.at<float>(2, 7)));
    }
}

TEST_F(Program, ShadeWritesThePictureAndItsBackground) {
    Write("8.png", Dot(CV_8U));
    Write("16.png", Dot(CV_16U) * 257);
    for (const auto& [name, top, background] : {std::tuple{"8.png", 255, std::vector<double>{38, 68, 98, 68, 38}},
                                                {"16.png", 65535, {10199, 17849, 25499, 17849, 10199}}}) {
        Succeed(std::string("shade --reduce 1 --kernel 3x1 --dilate 1 --out o ") + name);
        cv::Mat found;
        Read("o/background.png").convertTo(found, CV_64F);
        EXPECT_EQ(background, std::vector<double>(found.row(2)));
        EXPECT_EQ(17, cv::countNonZero(Read("o/corrected.png") == top)) << "where the background is even";
        double most = 0;
        cv::minMaxLoc(found, nullptr, &most);
        EXPECT_NE(ReadText("o/summary.json").find(cv::format("\"background_max\": %g", most)), std::string::npos);
    }
}

}  // namespace
