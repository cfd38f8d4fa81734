// The commands for single operations: average, gradient, flatten.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "tests/support/program.h"

using namespace test;

namespace {

// Frame i is a ramp plus 4 i².
TEST_F(Program, AveragesFilesAndFoldersOfOneOrTwoCameras) {
    for (const int depth : {CV_8U, CV_16U}) {
        cv::Mat ramp = Draw<uchar>(29, 13, [](int x, int y) { return x + 3 * y; });
        ramp.convertTo(ramp, depth);
        std::filesystem::create_directory(File("frames"));
        WriteBytes("frames/notes.txt", "no picture");
        std::string names;
        for (int i = 0; i < 6; ++i) {
            const std::string name = cv::format("frames/%d.png ", i);
            Write(name.substr(0, 12), ramp + 4 * i * i);
            names += name;
        }
        Succeed("average frames/1.png frames/2.png --out o/two.png");
        Succeed("average " + names + "--out o/files.png");
        Succeed("average frames --out o/folder.tiff");
        EXPECT_NE(Succeed("average frames --cameras 2 --out o/c.png").find("o/c1.png"), std::string::npos);
        for (const auto& [name, mean] :
             {std::pair{"two.png", 10}, {"files.png", 37}, {"folder.tiff", 37}, {"c0.png", 27}, {"c1.png", 47}}) {
            const cv::Mat result = Read(std::string("o/") + name);
            EXPECT_EQ(result.type(), depth) << name;
            EXPECT_EQ(cv::norm(result, ramp + mean, cv::NORM_INF), 0) << name;
        }
    }
}

// A parabola: its second difference over n pixels is 2 n².
TEST_F(Program, FindsTheGradientOfEveryKindOfPhase) {
    constexpr int kSide = 40, kHole = 20;
    const auto steps = [](int x, int y) { return x * x + y * y; };
    auto radians = Draw<float>(kSide, kSide, steps);
    radians(kHole, kHole) = std::nanf("");
    Write("8.png", Draw<uchar>(kSide, kSide, steps));
    Write("16.png", Draw<ushort>(kSide, kSide, [&](int x, int y) { return steps(x, y) << 8 | (x * 7 & 255); }));
    Write("f.tiff", radians);
    for (const auto& [dx, dy] : {std::pair{3, 0}, {0, -4}, {2, 3}, {-2, 3}}) {
        const std::string baselines = cv::format(" --dx %d --dy %d --out o/", dx, dy);
        Succeed("gradient 8.png" + baselines + "8.png");
        Succeed("gradient 16.png --infinite-border" + baselines + "16.tiff");
        Succeed("gradient f.tiff" + baselines + "f.npy");
        Succeed("flatten o/f.npy --terms 1 --out o/f.tiff");  // to read it
        const cv::Mat byte = Read("o/8.png"), real = Read("o/16.tiff"), gap = Read("o/f.tiff");
        ASSERT_EQ(byte.type(), CV_8U);
        ASSERT_EQ(real.type(), CV_32F);
        const int a = std::abs(dx), b = std::abs(dy);
        const auto isHole = [](int x, int y) { return x == kHole && y == kHole; };
        for (int y = 0; y < kSide; ++y)
            for (int x = 0; x < kSide; ++x) {
                const bool border = x < a || y < b || x >= kSide - a || y >= kSide - b;
                // Along x at (x, y) and (x - dx, y - dy), and the same down y.
                const int expected = 2 * dx * dx + 2 * dy * dy;
                ASSERT_EQ(byte.at<uchar>(y, x), border ? 0 : 255) << x << "," << y;
                ASSERT_EQ(std::isinf(real.at<float>(y, x)), border);
                ASSERT_TRUE(border || std::abs(real.at<float>(y, x) - expected * CV_PI / 128) < 1e-4);
                const bool depends = isHole(x, y) || isHole(x + dx, y) || isHole(x, y + dy) || isHole(x - dx, y - dy) ||
                                     isHole(x, y - dy) || isHole(x - dx, y);
                ASSERT_EQ(std::isnan(gap.at<float>(y, x)), !border && depends) << x << "," << y;
                ASSERT_TRUE(border || depends || std::abs(gap.at<float>(y, x) - gap.at<float>(5, 5)) < 1e-3f);
            }
    }
}

TEST_F(Program, FlattensWhatTheMaskAdmits) {
    const auto isObject = [](int x, int y) { return x > 30 && x < 60 && y > 20 && y < 40; };
    const auto relief = Draw<float>(90, 60, [&](int x, int y) {
        return isObject(x, y) ? 7.0 : (x + y) % 2 ? 0.125 : -0.125;
    });
    cv::Mat tilted = relief + Draw<float>(90, 60, [](int x, int y) { return 4.75 + 0.25 * x - 0.5 * y; });
    tilted.at<float>(3, 4) = std::nanf("");
    Write("tilted.tiff", tilted);
    Write("mask.png", Draw<uchar>(90, 60, [&](int x, int y) { return isObject(x, y) ? 127 : 255; }));
    Write("grey.png", Draw<uchar>(90, 60, [](int x, int y) { return x + 2 * y; }));
    const std::string report = Succeed("flatten tilted.tiff --mask mask.png --terms plane --out o/flat.tiff");
    for (const char* part : {"4848 of them, rms of what remains 0.125\n", "c3  X        2.5000", "c6  Y ", "c10 1 "})
        EXPECT_NE(report.find(part), std::string::npos) << part << report;
    EXPECT_EQ(report.find("c9"), std::string::npos);
    cv::Mat flat = Read("o/flat.tiff");
    EXPECT_TRUE(std::isnan(flat.at<float>(3, 4)));
    flat.at<float>(3, 4) = relief(3, 4);
    EXPECT_LT(cv::norm(flat, relief, cv::NORM_INF), 0.01);
    Succeed("flatten grey.png --out o/grey.tiff");
    EXPECT_LT(cv::norm(Read("o/grey.tiff"), cv::NORM_INF), 1e-3);
}

// Two planes of other slopes side by side, and a third area that is too small for one.
TEST_F(Program, WorksOnSingleComponents) {
    constexpr int kWidth = 80, kHeight = 50;
    const auto number = [](int x, int y) { return y == 0 && x < 2 ? 3 : y == 0 || x == 40 ? 0 : x < 40 ? 1 : 2; };
    const auto ripple = [](int x, int y) { return (x + y) % 2 ? 0.125 : -0.125; };
    Write("in.tiff", Draw<float>(kWidth, kHeight, [&](int x, int y) {
              return (number(x, y) == 1 ? 3.0 * x - y : 50.0 - 2.0 * x + 0.5 * y) + ripple(x, y);
          }));
    Write("numbers.png", Draw<ushort>(kWidth, kHeight, number));
    const std::string components = " in.tiff --components numbers.png";
    const std::string each1 = Succeed("flatten" + components + " --out o/each.tiff");
    EXPECT_NE(each1.find("(plane) taken from each of 2 components of numbers.png; 1 with"), std::string::npos) << each1;
    // The numbers beside an unwrapped phase are found.
    std::filesystem::copy(File("in.tiff"), File("unwrapped.tiff"));
    std::filesystem::copy(File("numbers.png"), File("components.png"));
    Succeed("flatten unwrapped.tiff --out o/found.tiff");
    EXPECT_EQ(ReadText("o/found.tiff"), ReadText("o/each.tiff"));
    Succeed("flatten" + components + " --component 2 --terms plane --out o/two.tiff");
    Succeed("gradient" + components + " --component 1 --dx 1 --scale 2 --out o/g.png");
    Succeed("filter mean" + components + " --component 1 --size 3x3 --out o/m.tiff");
    Succeed("picture" + components + " --component 1 --level --shade --unit rad -o o/p.png");
    const cv::Mat each = Read("o/each.tiff"), two = Read("o/two.tiff"), mean = Read("o/m.tiff");
    const cv::Mat gradient = Read("o/g.png"), in = Read("in.tiff");
    ASSERT_EQ(gradient.type(), CV_16U);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) {
            const int n = number(x, y);
            const float expected = static_cast<float>(ripple(x, y));
            ASSERT_EQ(std::isnan(each.at<float>(y, x)), n == 0 || n == 3) << x << "," << y;
            ASSERT_TRUE(n == 0 || n == 3 || std::abs(each.at<float>(y, x) - expected) < 0.02f) << x << "," << y;
            ASSERT_TRUE(n != 2 || std::abs(two.at<float>(y, x) - expected) < 0.02f) << x << "," << y;
            ASSERT_TRUE(n == 1 || mean.at<float>(y, x) == in.at<float>(y, x)) << "an excluded pixel changed";
            // The second difference of the ripple over one pixel is -4 times it: 0.5 of a scale of 2.
            if (x == 0 || x == kWidth - 1) continue;
            const bool inside = n == 1 && number(x - 1, y) == 1 && number(x + 1, y) == 1;
            ASSERT_EQ(gradient.at<ushort>(y, x), !inside            ? 0
                                                 : ripple(x, y) > 0 ? 32768 - 8192
                                                                    : 32768 + 8192)
                << x << "," << y;
        }
}

}  // namespace
