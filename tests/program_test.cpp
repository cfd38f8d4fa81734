#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/program.h"

namespace fs = std::filesystem;
using namespace test;

namespace {

// --- Bad input -------------------------------------------------------------------------------------------------------

TEST_F(Program, RefusesBadInputInOneLineAndLeavesNothingBehind) {
    const cv::Mat grey(8, 8, CV_8U, cv::Scalar(100));
    Write("a.png", grey);
    Write("small.png", grey(cv::Rect(0, 0, 4, 8)));
    Write("deep.png", cv::Mat(8, 8, CV_16U, cv::Scalar(7)));
    Write("float.tiff", cv::Mat(8, 8, CV_32F, cv::Scalar(1)));
    WriteBytes("text.png", "no picture");
    WriteBytes("cut.png", ReadText("a.png").substr(0, 40));
    WriteBytes("cut.npy", Npy("<f4", "(8, 8)", "abc"));
    WriteBytes("huge.npy", Npy("<f8", "(999999999, 999999999)", "abc"));
    WriteBytes("header.npy", std::string("\x93NUMPY\x02\0\xff\xff\xff\xff{}", 14));
    WriteBytes("line.npy", Npy("|u1", "(4,)", "abcd"));
    WriteBytes("fortran.npy", Npy("|u1", "(2, 2)", "abcd", "True"));
    WriteBytes("big-endian.npy", Npy(">f4", "(1, 1)", "abcd"));
    WriteBytes("integer.npy", Npy("<i4", "(1, 1)", "abcd"));
    const struct {
        const char* arguments;
        const char* says;
    } cases[] = {
        {"phase a.png a.png --out o", "three fringe pictures"},
        {"phase a.png a.png none.png --out o", "none.png: no such file"},
        {"phase a.png a.png small.png --out o", "same size"},
        {"phase a.png a.png deep.png --out o", "same pixel type"},
        {"phase float.tiff float.tiff float.tiff --out o", "--full-scale"},
        {"phase a.png a.png a.png --out o --shift=0,0,120", "do not determine"},
        {"phase a.png a.png a.png --out o --shift=0,120", "2 shifts for 3 frames"},
        {"phase a.png a.png a.png --out o --shift=0,120,x", "separated by commas"},
        {"phase a.png a.png a.png --out o --min-modulation=-1", "--min-modulation"},
        {"phase a.png a.png a.png", "--out is required"},
        {"phase a.png a.png a.png --out a.png", "not a folder"},
        {"unwrap text.png --out o", "not a PNG, TIFF, BMP or NPY file"},
        {"unwrap cut.png --out o", "damaged"},
        {"unwrap cut.npy --out o", "fewer pixels"},
        {"unwrap huge.npy --out o", "fewer pixels"},
        {"unwrap header.npy --out o", "cut off"},
        {"unwrap line.npy --out o", "two dimensions"},
        {"unwrap fortran.npy --out o", "Fortran"},
        {"unwrap big-endian.npy --out o", "'>f4' is not supported"},
        {"unwrap integer.npy --out o", "32-bit integer"},
        {"unwrap a.png --mask deep.png --out o", "a mask is 8-bit"},
        {"unwrap a.png --mask small.png --out o", "same size"},
        {"unwrap a.png --quality integer.npy --out o", "a quality is 8-bit"},
        {"unwrap a.png --zero 1 --out o", "--zero=1"},
        {"unwrap a.png --zero 8,0 --out o", "outside"},
        {"unwrap a.png --min-area 100 --zero 3,3 --out o", "excluded"},
        {"unwrap a.png --order-mode 9 --out o", "1 to 8"},
        {"unwrap a.png --colour --out o", "--colour"},
        {"unwrap a.png --method guess --out o", "guess"},
        {"unwrap a.png --min-group 9 --out o", "--min-group is an option of --method reliability"},
        {"unwrap a.png --method reliability --quality a.png --out o", "--quality is an option of --method regions"},
        {"unwrap a.png --method reliability --order-mode 1 --out o", "--order-mode is"},
        {"unwrap a.png --method reliability --min-area 1 --out o", "--min-area is"},
        {"unwrap a.png --method reliability --min-quality 1 --out o", "--min-quality is"},
        {"unwrap a.png --method reliability --zero 3,3 --out o", "excluded"},
        {"polish a.png --out o", "no command 'polish'"},
    };
    for (const auto& c : cases) ExpectRefused(c.arguments, c.says);
}

TEST_F(Program, KeepsEarlierResultsWhenNotAllCanBeReplaced) {
    Write("phase.png", cv::Mat(20, 20, CV_8U, cv::Scalar(9)));
    ASSERT_EQ(Run("unwrap phase.png --out new/deep").exitCode, 0);
    fs::remove(File("new/deep/components.png"));
    fs::create_directory(File("new/deep/components.png"));
    WriteBytes("new/deep/summary.json", "old");
    EXPECT_EQ(Run("unwrap phase.png --out new/deep").exitCode, 2);
    EXPECT_EQ(ReadText("new/deep/summary.json"), "old");
    fs::remove(File("new/deep/components.png"));
    EXPECT_EQ(Run("unwrap phase.png --out new/deep").exitCode, 0);
    for (const auto& entry : fs::directory_iterator(File("new/deep"))) {
        EXPECT_NE(entry.path().filename().string()[0], '.') << entry.path();
    }
    EXPECT_NE(ReadText("new/deep/summary.json"), "old");
}

// --- Interrupts ------------------------------------------------------------------------------------------------------

TEST_F(Program, EndsCleanlyOnCtrlC) {
    cv::Mat noise(2500, 2500, CV_8U);
    cv::randu(noise, 0, 256);
    WriteBytes("noise.npy", Npy("|u1", noise));
    WriteBytes("flat.npy", Npy("|u1", cv::Mat(noise.size(), CV_8U, cv::Scalar(9))));
    const auto computes = [milliseconds = 0]() mutable { return ++milliseconds > 300; };
    const auto writes = [&] {
        std::error_code missing;
        const fs::directory_iterator made(File("o"), missing);
        return !missing && made != fs::directory_iterator() && !fs::is_empty(made->path());
    };
    const struct {
        const char* arguments;
        std::function<bool()> now;
    } cases[] = {
        {"unwrap noise.npy --out o --method reliability", computes},
        {"unwrap noise.npy --out o --method regions", computes},
        {"unwrap flat.npy --out o --method reliability", writes},
        {"unwrap flat.npy --out o --method regions", writes},
        {"phase noise.npy noise.npy noise.npy --out o", writes},
    };
    for (const auto& c : cases) {
        const Outcome outcome = RunInterrupted(c.arguments, c.now);
        EXPECT_EQ(outcome.exitCode, 130) << c.arguments << outcome.err;
        EXPECT_FALSE(fs::exists(File("o"))) << c.arguments;
    }
}

// --- demo ------------------------------------------------------------------------------------------------------------

TEST_F(Program, DemoPassesItsChecks) {
    const Outcome outcome = Run("demo --out d");
    EXPECT_EQ(outcome.exitCode, 0) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out.find("MISSED"), std::string::npos) << outcome.out;
    for (const char* name :
         {"fringe0.png", "phase.png", "phase16.png", "modulation.png", "mask.png", "unwrapped16.png", "unwrapped.tiff",
          "unwrapped.npy", "unwrapped_mask.png", "components.png", "unwrapped_picture.png", "summary.json"}) {
        EXPECT_TRUE(fs::exists(File(std::string("d/") + name))) << name;
    }
}

TEST_F(Program, HelpShowsAnExample) {
    for (const char* command : {"phase", "unwrap", "average", "gradient", "flatten", "shade", "filter", "demo"}) {
        const Outcome outcome = Run(std::string(command) + " --help");
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_NE(outcome.out.find(std::string("Example:\n  vorip ") + command), std::string::npos) << outcome.out;
    }
}

}  // namespace
