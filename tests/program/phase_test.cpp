#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/program.h"

using namespace test;

namespace {

// --- phase

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

// Slanted fringes; `light` is the modulation, and a glint is saturated.
cv::Mat Fringes(double degrees, double light, double gamma = 1, int periods = 10) {
    return Draw<uchar>(160, 60, [=](int x, int y) {
        const double angle = 2 * CV_PI * periods * (x + 0.1 * y) / 160 + degrees * CV_PI / 180;
        return std::lround(5 + 2 * light * std::pow(0.5 + 0.5 * std::cos(angle), gamma));
    });
}

TEST_F(Program, FindsFramesByFolderPatternAndPage) {
    std::filesystem::create_directory(File("in"));
    std::vector<cv::Mat> pages;
    std::string listed;
    for (int k = 0; k < 12; ++k) {
        pages.push_back(Fringes(30 * k, 80));
        Write(cv::format("in/f%d.png", k), pages.back());
    }
    for (const int k : {0, 1, 10, 11, 2, 3, 4, 5, 6, 7, 8, 9}) listed += cv::format(" in/f%d.png", k);
    WritePages("pages.tiff", pages);
    cv::Mat reference;
    const struct {
        std::string words;
        const char* warns;  // nothing when empty
    } cases[] = {{"in", ""},
                 {"'in/f*.png'", ""},
                 {"pages.tiff", "12 pages"},
                 {listed + " --shift=0,30,300,330,60,90,120,150,180,210,240,270", "alphabetical order"}};
    for (const auto& c : cases) {
        const Outcome outcome = Run("phase --out o " + c.words);
        EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
        EXPECT_EQ(outcome.err.empty(), *c.warns == 0) << outcome.err;
        EXPECT_NE(outcome.err.find(c.warns), std::string::npos) << outcome.err;
        const cv::Mat phase = Read("o/phase.png");
        if (reference.empty()) reference = phase;
        EXPECT_LE(cv::norm(phase, reference, cv::NORM_L1), 20) << c.words;  // steps at the border of rounding
    }
    std::string brighter = "phase --out o";  // in one frame, by too little for a doubt
    for (int k = 0; k < 5; ++k) {
        Write(cv::format("g%d.png", k), Fringes(72 * k, 80) * (k == 1 ? 1.08 : 1));
        brighter += cv::format(" g%d.png", k);
    }
    EXPECT_NE(Run(brighter).err.find("may leave 0.0"), std::string::npos);
}

// What the commands say about frames, and their exit codes.
TEST_F(Program, JudgesFrames) {
    const struct {
        const char* what;
        double light, gamma;
        int type, periods;
        const char *phaseSays, *qualitySays;
        int phaseCode, qualityCode;
    } cases[] = {
        {"good", 80, 1, CV_8U, 10, " rad\n", "quality: good", 0, 0},
        {"gamma", 80, 2.2, CV_8U, 10, "rad, corrected\n", "no sines", 0, 0},
        {"few periods", 80, 1, CV_8U, 3, "ripple unknown", "periods in view, 8 are needed", 0, 0},
        {"bright", 140, 1, CV_8U, 10, "are saturated", "are saturated", 0, 0},
        {"dark", 8, 1, CV_8U, 10, "expose longer", "low intensity", 0, 4},
        {"black", 1, 1, CV_8U, 10, "hardly anything is usable", "low intensity", 5, 4},
        {"12 bits", 80, 1, CV_16U, 10, "--full-scale 4095", "--full-scale 4095", 0, 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        for (int k = 0; k < 3; ++k) {
            cv::Mat frame = Fringes(120 * k, c.light, c.gamma, c.periods);
            if (c.type == CV_16U) frame.convertTo(frame, CV_16U, 16, 7);
            Write(cv::format("f%d.png", k), frame);
        }
        const Outcome phase = Run("phase 'f?.png' --out o"), quality = Run("quality 'f?.png'");
        EXPECT_EQ(phase.exitCode, c.phaseCode) << phase.err;
        EXPECT_EQ(quality.exitCode, c.qualityCode) << quality.out;
        EXPECT_NE((phase.out + phase.err).find(c.phaseSays), std::string::npos) << phase.out << phase.err;
        EXPECT_NE((quality.out + quality.err).find(c.qualitySays), std::string::npos) << quality.out << quality.err;
        const Outcome json = Run("quality 'f?.png' --json");
        EXPECT_EQ(json.exitCode, c.qualityCode);
        for (const char* key : {"\"verdict\": ", "\"harmonics\"", "\"foreign_radians\""})
            EXPECT_NE(json.out.find(key), std::string::npos) << json.out;
    }
}

// --- unwrap

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
        EXPECT_EQ(result.at<float>(10, 20), 0.0f);
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

// A surface with a step of several periods over half its width: orders cannot be right on both sides.
TEST_F(Program, UnwrapsTheFolderOfPhaseAndTellsJumps) {
    const auto frame = [](int k) {
        return Draw<uchar>(200, 100, [=](int x, int y) {
            const double step = y >= 50 && x > 40 ? 0.06 * (x - 40) : 0;
            return std::lround(100 + (y < 50 ? 70 : 50) * std::cos(0.4 * x + step + k * CV_PI / 2));
        });
    };
    for (int k = 0; k < 4; ++k) Write(cv::format("f%d.png", k), frame(k));
    Succeed("phase 'f*.png' --out o");
    EXPECT_NEAR(Read("o/contrast.png").at<uchar>(20, 100), 255 * 70 / 101, 1);
    const Outcome outcome = Run("unwrap o --out o");
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_NE(outcome.err.find("jumps of more than half a period"), std::string::npos) << outcome.err;
    const std::string summary = ReadText("o/summary.json");
    for (const char* part : {"\"contrast\": \"contrast.png\"", "\"modulation\": \"modulation.png\"",
                             "\"mask\": \"mask.png\"", "\"jumps\": 1"})
        EXPECT_NE(summary.find(part), std::string::npos) << part << summary;
    const cv::Mat result = Read("o/unwrapped.tiff");
    for (const int y : {10, 90})
        for (int x = 1; x < 200; ++x) EXPECT_LT(std::abs(result.at<float>(y, x) - result.at<float>(y, x - 1)), 1) << x;
    cv::Mat magenta;
    cv::inRange(Read("o/unwrapped_picture.png"), cv::Scalar(255, 0, 255), cv::Scalar(255, 0, 255), magenta);
    EXPECT_GT(cv::countNonZero(magenta), 50);

    Write("blackwhite.png", frame(0) > 100);
    for (const char* noPhase : {"f0.png", "blackwhite.png", "o/unwrapped.tiff"})
        EXPECT_NE(Run(std::string("unwrap --out p ") + noPhase).err.find("hardly a wrapped phase"), std::string::npos);
    Write("none.png", cv::Mat(100, 200, CV_8U, cv::Scalar(0)));
    const Outcome nothing = Run("unwrap o --mask none.png --out p");
    EXPECT_EQ(nothing.exitCode, 5);
    EXPECT_EQ(nothing.err, "");
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
