// From pictures to a surface in one command, by the words and the files that people get.
#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "measure/heightmap.h"
#include "tests/support/scanprogram.h"

using namespace test;

namespace {

namespace fs = std::filesystem;
namespace simulate = measure::simulate;

class Measures : public ScanProgram {
protected:
    // A sphere before nothing, coded along the columns.
    void Scan() {
        measure::Scan scan;
        scan.columns = simulate::SineAxis(1920, {24, 160, 1920}, 4);
        simulate::Capture capture;
        capture.noise = 0.5;
        WriteScan("sphere", scan, capture);
    }
    nlohmann::json Summary(const std::string& folder) const {
        return nlohmann::json::parse(ReadText(folder + "/summary.json"));
    }
    static int CountHeights(const measure::HeightMap& map) { return cv::countNonZero(map.z == map.z); }
};

TEST_F(Measures, MillimetresOfACodedScan) {
    Scan();
    const std::string said = Succeed("measure --scan scan/scan.json --calibration calibration.yml --out r");
    const auto summary = Summary("r");
    EXPECT_EQ(summary["schema"], 1);
    EXPECT_EQ(summary["command"], "measure");
    const bool good = summary["verdict"] == "good";
    EXPECT_EQ(said.rfind(good ? "GOOD: " : "DOUBTFUL: ", 0), 0U) << said;
    EXPECT_EQ(summary["doubts"].empty(), good);
    EXPECT_GT(summary["points"]["points"].get<int>(), 1000);
    EXPECT_GT(summary["depth_noise_mm"].get<double>(), 0.001);
    EXPECT_LT(summary["depth_noise_mm"].get<double>(), 0.1);
    EXPECT_LT(ErrorOf("r", 1000), 0.1) << "mm";

    // The surface is metric and as high as the part of the sphere that is seen.
    const measure::HeightMap map = measure::ReadHeightMap(File("r/surface.npy").string());
    EXPECT_TRUE(map.IsMetric());
    EXPECT_GT(CountHeights(map), 1000);
    EXPECT_TRUE(fs::exists(File("r/surface.gsf")));
    EXPECT_FALSE(Read("r/surface_picture.png").empty());
    EXPECT_GT(summary["surface"]["highest"].get<double>() - summary["surface"]["lowest"].get<double>(), 10);
}

TEST_F(Measures, PeriodsWithoutCalibration) {
    Scan();
    const std::string said = Succeed("measure --scan scan/scan.json --out r");
    EXPECT_NE(said.find("--calibration"), std::string::npos) << said;
    EXPECT_EQ(Summary("r")["surface"]["unit"], "periods");
    EXPECT_FALSE(fs::exists(File("r/points.ply")));
    const measure::HeightMap coded = measure::ReadHeightMap(File("r/surface.npy").string());

    // The finest set alone gives the same surface, unwrapped.
    Succeed("measure scan/columns_00.png scan/columns_01.png scan/columns_02.png scan/columns_03.png --out s");
    const auto summary = Summary("s");
    EXPECT_GT(summary["unwrap"]["valid_share"].get<double>(), 0.05);
    EXPECT_TRUE(summary["phase"].contains("ripple"));
    Succeed("unwrap s --method regions --out u");
    const measure::HeightMap unwrapped = measure::ReadHeightMap(File("s/surface.npy").string());
    const cv::Mat both = (coded.z == coded.z) & (unwrapped.z == unwrapped.z);
    EXPECT_GT(cv::countNonZero(both), 0.9 * CountHeights(coded));
    cv::Mat1f difference;
    cv::absdiff(coded.z, unwrapped.z, difference);
    EXPECT_LT(cv::mean(difference, both)[0], 0.1) << "periods";
}

TEST_F(Measures, RefusesHalfAnInput) {
    Scan();
    Write("dark0.png", cv::Mat(40, 40, CV_8U, cv::Scalar(0)));
    ExpectRefusals(
        {
            {"measure", "--scan"},
            {"measure scan --scan scan/scan.json", "either"},
            {"measure scan --calibration calibration.yml", "give --scan"},
            {"measure scan", "holds a coded scan"},
            {"measure scan --frames scan", "belongs to --scan"},
            {"measure --scan scan/scan.json --calibration missing.yml", "missing.yml"},
            {"measure dark0.png dark0.png dark0.png", "hardly anything", 5},
        },
        "* --out o");
}

}  // namespace
