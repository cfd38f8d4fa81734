// The commands `vorip regions` and `vorip quality`.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/support/program.h"

using namespace test;

namespace {

// The regions of a picture up to its edges, more of them than 16 bits can number.
TEST_F(Program, RegionsAreNumberedMeasuredAndDrawn) {
    cv::Mat picture(530, 520, CV_16U, cv::Scalar(20 << 8)), labels(picture.size(), CV_32S, cv::Scalar(0));
    int count = 0;
    for (int y = 0; y < picture.rows; y += 2)
        for (int x = 0; x < picture.cols; x += 2) {
            picture.at<ushort>(y, x) = 200 << 8 | 255;
            labels.at<int>(y, x) = ++count;
        }
    Write("dots.png", picture);
    const std::string report = Succeed("regions dots.png --out o");
    EXPECT_EQ(report.rfind(cv::format("regions: %d in 520 x 530 pixels", count), 0), 0U) << report;
    const auto summary = nlohmann::json::parse(ReadText("o/summary.json"));
    EXPECT_EQ(summary["command"], "regions");
    EXPECT_EQ(summary["regions"], count);
    EXPECT_TRUE(summary["threshold_found"]);
    EXPECT_EQ(summary["files"].size(), 4U);
    const std::string file = ReadText("o/labels.npy"), numbers(labels.ptr<char>(), labels.total() * 4);
    ASSERT_GT(file.size(), numbers.size());
    EXPECT_TRUE(file.substr(file.size() - numbers.size()) == numbers);
    const std::string table = ReadText("o/regions.csv");
    EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), count + 1);
    EXPECT_NE(table.find("\n2,2,0,2,0,2.000,0.000,2.000,0.000,1,1.000,200.000,1\n"), std::string::npos);
    for (const char* name : {"o/labels.png", "o/outlines.png"}) {
        cv::Mat colours;
        cv::cvtColor(Read(name), colours, cv::COLOR_BGR2HSV);
        cv::extractChannel(colours, colours, 1);  // saturation
        EXPECT_EQ(0, cv::norm(colours > 0, labels != 0, cv::NORM_INF)) << name;
    }
    Succeed("regions dots.png --out o --threshold 10 --pixel-ratio 2 --min-area 3");
    EXPECT_NE(ReadText("o/regions.csv").find("\n1,0,0,519,529,"), std::string::npos);
    Succeed("regions dots.png --out o --threshold 30 --min-area 1.5 --fill-holes");
    EXPECT_EQ(ReadText("o/regions.csv").find('\n') + 1, ReadText("o/regions.csv").size());
}

TEST_F(Program, QualityAnswersInWordsAndByExitCode) {
    cv::Mat half(10, 10, CV_8U, cv::Scalar(100)), left(10, 10, CV_8U, cv::Scalar(0));
    half.colRange(5, 10) = cv::Scalar(3);
    left.colRange(0, 5) = cv::Scalar(128);
    Write("half.png", half);
    Write("left.png", left);
    Write("bright.png", cv::Mat(10, 10, CV_16U, cv::Scalar(100 << 8)));
    const std::tuple<const char*, int, const char*> cases[] = {
        {"bright.png bright.png", 0, "quality: ok\n"},
        {"half.png bright.png", 0, "100.0 % of 100 pixels reach the grey value 14, 90 % must\nquality: ok\n"},
        {"bright.png half.png", 3, "quality: low contrast, although the intensity suffices\n"},
        {"half.png half.png", 4, "quality: low contrast because of low intensity\n"},
        {"half.png half.png --mask left.png", 0, "of 50 pixels"},
        {"half.png half.png --contrast-percent 50", 0, "50.0 % of 100 pixels"},
        {"half.png half.png --intensity-percent 50", 3, "although"},
        {"half.png half.png --min-contrast 3", 0, "grey value 3"},
        {"half.png half.png --min-intensity 3", 3, "although"},
        {"half.png half.png --step 5,2 --contrast-percent 50", 0, "of 10 pixels"},
    };
    for (const auto& [arguments, exitCode, says] : cases) {
        const Outcome outcome = Run(std::string("quality ") + arguments);
        EXPECT_EQ(outcome.exitCode, exitCode) << arguments << outcome.err;
        EXPECT_NE(outcome.out.find(says), std::string::npos) << arguments << outcome.out;
        EXPECT_EQ(outcome.err, "");
    }
}

}  // namespace
