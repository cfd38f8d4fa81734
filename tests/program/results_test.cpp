#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/program.h"

namespace fs = std::filesystem;
using namespace test;

namespace {

TEST_F(Program, KeepsEarlierResultsWhenNotAllCanBeReplaced) {
    Write("phase.png", cv::Mat(20, 20, CV_8U, cv::Scalar(9)));
    Succeed("unwrap phase.png --out new/deep");
    fs::remove(File("new/deep/components.png"));
    fs::create_directory(File("new/deep/components.png"));
    WriteBytes("new/deep/summary.json", "old");
    EXPECT_EQ(Run("unwrap phase.png --out new/deep").exitCode, 6);
    EXPECT_EQ(ReadText("new/deep/summary.json"), "old");
    fs::remove(File("new/deep/components.png"));
    Succeed("unwrap phase.png --out new/deep");
    for (const auto& entry : fs::directory_iterator(File("new/deep")))
        EXPECT_NE(entry.path().filename().string()[0], '.') << entry.path();
    EXPECT_NE(ReadText("new/deep/summary.json"), "old");
}

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
        const Outcome outcome = Run(c.arguments, c.now);
        EXPECT_EQ(outcome.exitCode, 130) << c.arguments << outcome.err;
        EXPECT_FALSE(fs::exists(File("o"))) << c.arguments;
    }
}

TEST_F(Program, DemoPassesItsChecks) {
    const std::string report = Succeed("demo --out d");
    EXPECT_EQ(report.find("MISSED"), std::string::npos) << report;
    for (const char* name :
         {"fringe0.png", "phase.png", "phase16.png", "modulation.png", "mask.png", "unwrapped16.png", "unwrapped.tiff",
          "unwrapped.npy", "unwrapped_mask.png", "components.png", "unwrapped_picture.png", "summary.json"})
        EXPECT_TRUE(fs::exists(File(std::string("d/") + name))) << name;
}

TEST_F(Program, HelpShowsAnExample) {
    for (const char* command : {"phase", "unwrap", "average", "gradient", "flatten", "shade", "filter", "demo"}) {
        const std::string help = Succeed(std::string(command) + " --help");
        EXPECT_NE(help.find(std::string("Example:\n  vorip ") + command), std::string::npos) << help;
    }
}

}  // namespace
