// The commands for single operations: average, gradient, flatten.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>

#include "tests/support/program.h"

using namespace test;

namespace {

TEST_F(Program, RefusesOperationsThatCannotBe) {
    Write("a.png", cv::Mat(8, 10, CV_8U, cv::Scalar(100)));
    Write("black.png", cv::Mat(8, 10, CV_8U, cv::Scalar(0)));
    Write("small.png", cv::Mat(8, 4, CV_8U, cv::Scalar(100)));
    Write("deep.png", cv::Mat(8, 10, CV_16U, cv::Scalar(7)));
    Write("float.tiff", cv::Mat(8, 10, CV_32F, cv::Scalar(1)));
    WriteBytes("integer.npy", Npy("<i4", "(1, 1)", "abcd"));
    std::filesystem::create_directory(File("empty"));
    std::string many;
    for (int i = 0; i < 258; ++i) many += "a.png ";
    const struct {
        std::string arguments;
        const char* says;
    } cases[] = {
        {"average a.png none.png --out o/a.png", "none.png: no such file"},
        {"average a.png a.png a.png small.png --out o/a.png", "same size"},
        {"average a.png deep.png --out o/a.png", "same pixel type"},
        {"average float.tiff --out o/a.tiff", "8- or 16-bit, this is float"},
        {"average empty --out o/a.png", "no pictures in this folder"},
        {"average a.png a.png a.png --cameras 2 --out o/a.png", "3 pictures"},
        {"average a.png a.png --cameras 3 --out o/a.png", "1 or 2"},
        {"average " + many + "--out o/a.png", "at most 257"},
        {"average a.png --out o/a.jpg", "must end with"},
        {"gradient a.png --out o/a.png", "--dx or --dy"},
        {"gradient a.png --dx 5 --out o/a.png", "at most 4"},
        {"gradient a.png --dy -2147483648 --out o/a.png", "at most 3"},
        {"gradient a.png --dx 1 --infinite-border --out o/a.png", "--infinite-border"},
        {"gradient float.tiff --dx 1 --out o/a.png", "cannot hold float"},
        {"gradient integer.npy --dx 0 --dy 0 --out o/a.png", "--dx or --dy"},
        {"flatten a.png --terms x,z --out o/a.tiff", "no term 'z'"},
        {"flatten a.png --mask black.png --out o/a.tiff", "no pixel of a.png"},
        {"flatten a.png --mask small.png --out o/a.tiff", "same size"},
        {"flatten integer.npy --out o/a.tiff", "32-bit integer"},
    };
    for (const auto& c : cases) ExpectRefused(c.arguments, c.says);
}

// As the averagers give it.
int Average(const std::vector<int>& values) {
    std::uint64_t sum = 0;
    for (const int v : values) sum += static_cast<unsigned>(v);
    const std::uint64_t n = values.size();
    return static_cast<int>(n == 2 ? sum / 2 : (2 * sum + n) / (2 * n));
}

TEST_F(Program, AveragesFilesAndFoldersOfOneOrTwoCameras) {
    for (const int depth : {CV_8U, CV_16U}) {
        for (const int count : {1, 2, 3, 6}) {
            std::filesystem::create_directory(File("frames"));
            std::vector<cv::Mat> frames;
            std::string names;
            for (int i = 0; i < count; ++i) {
                frames.emplace_back(13, 29, depth);
                cv::randu(frames.back(), 0, depth == CV_8U ? 256 : 65536);
                names += cv::format("frames/%d.png ", i);
                Write(cv::format("frames/%d.png", i), frames.back());
            }
            WriteBytes("frames/notes.txt", "no picture");
            const auto check = [&](const std::string& file, int first, int step) {
                cv::Mat result = Read(file);
                ASSERT_EQ(result.type(), depth) << file;
                result.convertTo(result, CV_32S);
                for (int y = 0; y < result.rows; ++y) {
                    for (int x = 0; x < result.cols; ++x) {
                        std::vector<int> values;
                        for (std::size_t i = static_cast<std::size_t>(first); i < frames.size();
                             i += static_cast<std::size_t>(step)) {
                            values.push_back(depth == CV_8U ? frames[i].at<uchar>(y, x) : frames[i].at<ushort>(y, x));
                        }
                        ASSERT_EQ(result.at<int>(y, x), Average(values)) << file << count;
                    }
                }
            };
            ASSERT_EQ(Run("average " + names + "--out o/files.png").exitCode, 0);
            ASSERT_EQ(Run("average frames --out o/folder.tiff").exitCode, 0);
            check("o/files.png", 0, 1);
            check("o/folder.tiff", 0, 1);
            if (count % 2 == 0) {
                const Outcome outcome = Run("average frames --cameras 2 --out o/c.png");
                ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
                EXPECT_NE(outcome.out.find("o/c1.png"), std::string::npos);
                check("o/c0.png", 0, 2);
                check("o/c1.png", 1, 2);
            }
            std::filesystem::remove_all(File("frames"));
        }
    }
}

// A parabola: its second difference over n pixels is 2 n².
TEST_F(Program, FindsTheGradientOfEveryKindOfPhase) {
    constexpr int kSide = 40, kHole = 20;
    cv::Mat phase8(kSide, kSide, CV_8U), phase16(kSide, kSide, CV_16U), radians(kSide, kSide, CV_32F);
    for (int y = 0; y < kSide; ++y) {
        for (int x = 0; x < kSide; ++x) {
            const int steps = x * x + y * y;
            phase8.at<uchar>(y, x) = static_cast<uchar>(steps & 255);
            phase16.at<ushort>(y, x) = static_cast<ushort>((steps & 255) << 8 | (x * 7 & 255));
            radians.at<float>(y, x) = static_cast<float>(steps);
        }
    }
    radians.at<float>(kHole, kHole) = std::nanf("");
    Write("8.png", phase8);
    Write("16.png", phase16);
    Write("f.tiff", radians);
    for (const auto& [dx, dy] : {std::pair{3, 0}, {0, -4}, {2, 3}, {-2, 3}}) {
        const std::string baselines = cv::format(" --dx %d --dy %d --out o/", dx, dy);
        ASSERT_EQ(Run("gradient 8.png" + baselines + "8.png").exitCode, 0);
        ASSERT_EQ(Run("gradient 16.png --infinite-border" + baselines + "16.tiff").exitCode, 0);
        ASSERT_EQ(Run("gradient f.tiff" + baselines + "f.npy").exitCode, 0);
        ASSERT_EQ(Run("flatten o/f.npy --terms 1" + std::string(" --out o/f.tiff")).exitCode, 0);  // to read it
        const cv::Mat byte = Read("o/8.png"), real = Read("o/16.tiff"), gap = Read("o/f.tiff");
        ASSERT_EQ(byte.type(), CV_8U);
        ASSERT_EQ(real.type(), CV_32F);
        const int a = std::abs(dx), b = std::abs(dy);
        const auto isHole = [](int x, int y) { return x == kHole && y == kHole; };
        for (int y = 0; y < kSide; ++y) {
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
                ASSERT_TRUE(border || depends || std::abs(gap.at<float>(y, x) - gap.at<float>(5, 5)) < 1e-3F);
            }
        }
    }
}

TEST_F(Program, FlattensWhatTheMaskAdmits) {
    cv::Mat tilted(60, 90, CV_32F), mask(60, 90, CV_8U, cv::Scalar(255)), grey(60, 90, CV_8U);
    for (int y = 0; y < 60; ++y) {
        for (int x = 0; x < 90; ++x) {
            const bool object = x > 30 && x < 60 && y > 20 && y < 40;
            tilted.at<float>(y, x) = 5 + 0.25F * static_cast<float>(x + 1) - 0.5F * static_cast<float>(y + 1) +
                                     (object        ? 7.0F
                                      : (x + y) % 2 ? 0.125F
                                                    : -0.125F);
            if (object) mask.at<uchar>(y, x) = 127;
            grey.at<uchar>(y, x) = static_cast<uchar>(x + 2 * y);
        }
    }
    tilted.at<float>(3, 4) = std::nanf("");
    Write("tilted.tiff", tilted);
    Write("mask.png", mask);
    Write("grey.png", grey);
    const Outcome outcome = Run("flatten tilted.tiff --mask mask.png --terms plane --out o/flat.tiff");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("4848 of them, rms of what remains 0.125\n"), std::string::npos) << outcome.out;
    for (const char* part : {"c3  X        2.5000", "c6  Y ", "c10 1 "})
        EXPECT_NE(outcome.out.find(part), std::string::npos) << part << outcome.out;
    EXPECT_EQ(outcome.out.find("c9"), std::string::npos);
    const cv::Mat flat = Read("o/flat.tiff");
    for (int y = 0; y < 60; ++y)
        for (int x = 0; x < 90; ++x) {
            const float value = flat.at<float>(y, x);
            ASSERT_EQ(std::isnan(value), x == 4 && y == 3);
            ASSERT_TRUE(std::isnan(value) ||
                        std::abs(std::abs(value) - (mask.at<uchar>(y, x) > 127 ? 0.125F : 7)) < .01)
                << x << "," << y << ": " << value;
        }
    ASSERT_EQ(Run("flatten grey.png --out o/grey.tiff").exitCode, 0);
    EXPECT_LT(cv::norm(Read("o/grey.tiff"), cv::NORM_INF), 1e-3);
}

}  // namespace
