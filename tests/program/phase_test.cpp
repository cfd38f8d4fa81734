#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/program.h"

using namespace test;

namespace {

// --- phase -----------------------------------------------------------------------------------------------------------

double TruePhase(int x, int y) { return 0.11 * x + 0.23 * y - 3.0; }

TEST_F(Program, FindsThePhaseFromAnyNumberOfFramesOfAnyDepth) {
    const struct {
        std::vector<double> degrees;
        const char* option;
        const char* extension;
        int depth;
        double fullScale;
    } cases[] = {
        {{0, 120, 240}, "", ".png", CV_8U, 255},
        {{-120, 0, 120}, "--shift=-120,0,120", ".bmp", CV_8U, 255},
        {{0, 72, 144, 216, 288}, "", ".png", CV_16U, 65535},
        {{10, 75, 140, 300}, "--shift=10,75,140,300", ".tiff", CV_32F, 2},
    };
    for (const auto& c : cases) {
        std::string arguments = cv::format("phase --out o %s --full-scale %g", c.option, c.fullScale);
        for (std::size_t k = 0; k < c.degrees.size(); ++k) {
            const double white = c.fullScale, shift = c.degrees[k] * CV_PI / 180;
            cv::Mat frame;
            Draw<double>(80, 60, [&](int x, int y) {
                return white * (0.45 + 0.35 * std::cos(TruePhase(x, y) + shift));
            }).convertTo(frame, c.depth);
            if (k == 1) frame(cv::Rect(0, 0, 10, 10)) = cv::Scalar(white);  // saturated in one frame
            frame(cv::Rect(30, 0, 10, 10)) = cv::Scalar(0.001 * white);     // too dark
            frame(cv::Rect(60, 0, 10, 10)) = cv::Scalar(0.5 * white);       // without fringes
            const std::string name = cv::format("f%zu%s", k, c.extension);
            Write(name, frame);
            arguments += " " + name;
        }
        Succeed(arguments);
        const cv::Mat phase8 = Read("o/phase.png"), phase16 = Read("o/phase16.png"), mask = Read("o/mask.png");
        ASSERT_EQ(phase8.type(), CV_8U);
        ASSERT_EQ(phase16.type(), CV_16U);
        const double bound = c.depth == CV_8U ? 0.02 : 2e-4;
        for (int y = 12; y < 60; ++y)
            for (int x = 0; x < 80; ++x) {
                ASSERT_EQ(mask.at<uchar>(y, x), 255) << x << "," << y;
                ASSERT_LT(std::abs(Wrap(phase16.at<ushort>(y, x) * CV_PI / 32768 - TruePhase(x, y))), bound);
                ASSERT_LT(std::abs(Wrap(phase8.at<uchar>(y, x) * CV_PI / 128 - TruePhase(x, y))), bound + CV_PI / 250);
            }
        EXPECT_NEAR(Read("o/modulation.png").at<uchar>(40, 40), 0.7 * 255, 2);
        for (const int left : {0, 30, 60}) EXPECT_EQ(cv::countNonZero(mask(cv::Rect(left, 0, 10, 10))), 0) << left;
    }
}

// A raised object before a wall: same phase on both sides of its edge, but less contrast.
TEST_F(Program, SeparatesMaterialsOfDifferentContrast) {
    for (int k = 0; k < 3; ++k) {
        const auto frame = [k](int x, int y) {
            const bool object = x > 50 && x < 110 && y > 40 && y < 90;
            return std::lround(100 + (object ? 30 : 80) * std::cos(0.2 * x + k * 2 * CV_PI / 3));
        };
        Write(cv::format("f%d.png", k), Draw<uchar>(160, 120, frame));
    }
    for (const auto& [option, components] : {std::pair{"", 2}, {"--border-ratio 0", 1}}) {
        Succeed(std::string("phase f0.png f1.png f2.png --out o ") + option);
        Succeed("unwrap o/phase16.png --mask o/mask.png --out o");
        double most = 0;
        cv::minMaxLoc(Read("o/components.png"), nullptr, &most);
        EXPECT_EQ(most, components) << option;
    }
}

// --- unwrap ----------------------------------------------------------------------------------------------------------

TEST_F(Program, UnwrapsPhasesOfEveryKind) {
    constexpr int kWidth = 90, kHeight = 40, kGap = 60;  // a ramp that an excluded column cuts in two
    const auto truth = [](int x, int y) { return 0.31 * x - 0.12 * y; };
    const auto steps = [&](int perPeriod) {
        return [=](int x, int y) { return std::lround(truth(x, y) / (2 * CV_PI) * perPeriod); };
    };
    const auto radians =
        Draw<float>(kWidth, kHeight, [&](int x, int y) { return x == kGap ? std::nan("") : Wrap(truth(x, y)); });
    Write("p8.png", Draw<uchar>(kWidth, kHeight, steps(256)));
    Write("p16.tiff", Draw<ushort>(kWidth, kHeight, steps(65536)));
    Write("p.tiff", radians);
    Write("mask.png", Draw<uchar>(kWidth, kHeight, [](int x, int) { return x == kGap ? 127 : 200; }));
    WriteBytes("p.npy", Npy("<f4", radians));
    const struct {
        const char* arguments;
        double bound;
    } cases[] = {
        {"unwrap p8.png --mask mask.png --quality p8.png", 2 * CV_PI / 256 * 1.01},
        {"unwrap p16.tiff --mask mask.png", 2e-4},
        {"unwrap p.tiff --quality p.tiff", 1e-5},
        {"unwrap p.npy --order-mode 8", 1e-5},
        {"unwrap p8.png --mask mask.png --method reliability", 2 * CV_PI / 256 * 1.01},
        {"unwrap p.npy --method reliability --min-group 1160", 1e-5},
    };
    for (const auto& c : cases) {
        Succeed(std::string(c.arguments) + " --zero 20,10 --out o");
        const cv::Mat result = Read("o/unwrapped.tiff"), valid = Read("o/unwrapped_mask.png");
        const cv::Mat components = Read("o/components.png"), steps = Read("o/unwrapped16.png");
        ASSERT_EQ(result.type(), CV_32F);
        EXPECT_EQ(result.at<float>(10, 20), 0.0F);
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x) {
                ASSERT_EQ(valid.at<uchar>(y, x), x == kGap ? 0 : 255);
                ASSERT_EQ(components.at<ushort>(y, x), x == kGap ? 0 : x < kGap ? 1 : 2);
                ASSERT_EQ(std::isnan(result.at<float>(y, x)), x == kGap);
                if (x >= kGap) continue;
                const double expected = truth(x, y) - truth(20, 10);
                ASSERT_NEAR(static_cast<double>(result.at<float>(y, x)), expected, c.bound) << c.arguments;
                ASSERT_NEAR((steps.at<ushort>(y, x) - steps.at<ushort>(10, 20)) * CV_PI / 128, expected, 0.03);
            }
        double least = 1;
        cv::minMaxLoc(steps, &least, nullptr, nullptr, nullptr, valid);
        EXPECT_EQ(least, 0);
        const std::string npy = ReadText("o/unwrapped.npy");
        ASSERT_EQ(npy.size() % 64, result.total() * 4 % 64);
        EXPECT_EQ(npy.substr(npy.size() - 8), std::string(result.ptr<char>(kHeight - 1) + (kWidth - 2) * 4, 8));
        const std::string summary = ReadText("o/summary.json");
        for (const char* part : {"\"width\": 90", "\"component_count\": 2", "{\"component\": 1, \"pixels\": 2400}",
                                 "{\"component\": 2, \"pixels\": 1160}", "\"valid_pixels\": 3560"})
            EXPECT_NE(summary.find(part), std::string::npos) << part << summary;
        EXPECT_EQ(Read("o/unwrapped_picture.png").type(), CV_8UC3);
    }
    for (const char* option : {"--min-area 1200", "--method reliability --min-group 1161"}) {
        Succeed(std::string("unwrap p8.png --mask mask.png --out o ") + option);
        EXPECT_EQ(cv::countNonZero(Read("o/unwrapped_mask.png")), kGap * kHeight) << option;
    }
}

// The fringe orders of one method are 8 bits wide, and so are 16 bits of steps.
TEST_F(Program, UnwrapsManyPeriods) {
    for (const int periods : {150, 250, 300}) {
        const auto ramp = [=](int x, int) { return 256 * periods * x / 3000; };
        Write("p.png", Draw<uchar>(3000, 6, ramp));
        for (const std::string method : {"regions", "reliability"}) {
            if (method == "regions" && periods == 300) continue;
            const std::string report = Succeed("unwrap p.png --zero 00,+5 --out o --method " + method);
            EXPECT_EQ(report.find("255.99") != std::string::npos, periods > 256) << report;
            const cv::Mat result = Read("o/unwrapped.tiff"), steps = Read("o/unwrapped16.png");
            for (int x = 0; x < result.cols; ++x) {
                const int wanted = ramp(x, 0);
                ASSERT_NEAR(result.at<float>(3, x), wanted * CV_PI / 128, 1e-3) << method << ' ' << x;
                ASSERT_EQ(steps.at<ushort>(3, x), std::min(wanted, 65535));
            }
            EXPECT_NE(ReadText("o/summary.json").find("\"zero\": [0, 5]"), std::string::npos);
        }
    }
}

}  // namespace
