// From a scan along both directions to points, by the commands that people run.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "measure/io.h"
#include "tests/support/scanprogram.h"

using namespace test;

namespace {

namespace fs = std::filesystem;
namespace simulate = measure::simulate;

// A sphere and a box before a wall, coded along columns and rows.
class Points : public ScanProgram {
protected:
    // Decodes the scan into the folder r.
    void Scan(int direction = 1, bool rows = true) {
        measure::Scan scan;
        scan.columns = simulate::SineAxis(1920, {20, 140, 1920}, 4);
        scan.columns->direction = direction;
        scan.columns->origin = direction > 0 ? 0 : 1919;
        if (rows) scan.rows = simulate::SineAxis(1080, {20, 140, 1080}, 4);
        WriteScan("two-objects", scan, {16});
        Succeed("decode scan/scan.json --out r");
    }
    void ExpectTruth(const std::string& folder) const { EXPECT_LT(ErrorOf(folder, 30000), 2e-4) << "mm"; }
};

TEST_F(Points, FromScanToMillimetres) {
    for (const int direction : {1, -1}) {
        Scan(direction);
        const std::string said = Succeed("points r --calibration calibration.yml --out p" + std::to_string(direction));
        EXPECT_NE(said.find("mm from the camera"), std::string::npos) << said;
        ExpectTruth("p" + std::to_string(direction));
    }
    const auto summary = nlohmann::json::parse(ReadText("p1/summary.json"));
    EXPECT_EQ(summary["depths_from"], "columns");
    EXPECT_LT(summary["median_residual_pixels"].get<double>(), 1e-3);
    EXPECT_TRUE(summary["warnings"].empty());
    EXPECT_GE(summary["files"].size(), 12U);
    const cv::Mat z = Read("p1/z.tiff");
    EXPECT_EQ(measure::ReadPicture(File("p1/z.npy").string()).size(), z.size());
    EXPECT_EQ(Read("p1/residual.tiff").size(), z.size());
    EXPECT_FALSE(Read("p1/z_picture.png").empty());
    const std::string xyz = ReadText("p1/points.xyz"), ply = ReadText("p1/points.ply");
    const auto points = summary["points"].get<long>();
    EXPECT_EQ(std::count(xyz.begin(), xyz.end(), '\n'), points);
    EXPECT_NE(ply.find("element vertex " + std::to_string(points) + "\n"), std::string::npos);
    EXPECT_NE(ply.find("property uchar red\n"), std::string::npos);

    // One direction alone, another picture of grey values, and a limit for the residual.
    Succeed("points r --calibration calibration.yml --out q --max-residual 0.5 --grey r/columns_reliability.png");
    EXPECT_NE(Run("points r --calibration calibration.yml --out r").err.find("is an input of this run"),
              std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(ReadText("q/summary.json"))["outside_projector"], 0);
    Scan(1, false);
    Succeed("points r --calibration calibration.yml --out single");
    ExpectTruth("single");
    EXPECT_FALSE(fs::exists(File("single/residual.npy")));
}

TEST_F(Points, RefusesWhatDoesNotFit) {
    Scan();
    measure::Calibration other = True();
    other.cameraSize = {1936, 1216};
    measure::WriteCalibration(File("other.yml").string(), other);
    const std::string text = ReadText("calibration.yml");
    WriteBytes("broken.yml", text.substr(0, text.find("rotation")));
    Write("small.png", cv::Mat(20, 20, CV_8U, cv::Scalar(9)));
    fs::create_directory(File("empty"));
    fs::copy(File("r"), File("changed"));
    WriteBytes("changed/columns_coordinate.npy", ReadText("r/rows_coordinate.npy"));
    fs::copy(File("r"), File("none"));
    ExpectRefusals(
        {
            {"points r --calibration other.yml", "calibrated camera has 1936 x 1216"},
            {"points r --calibration broken.yml", "broken.yml"},
            {"points r --calibration missing.yml", "missing.yml"},
            {"points empty --calibration calibration.yml", "vorip decode"},
            {"points missing --calibration calibration.yml", "vorip decode"},
            {"points changed --calibration calibration.yml", "is not the file"},
            {"points r --calibration calibration.yml --grey small.png", "same size"},
            {"points r --calibration calibration.yml --max-step=-1", "--max-step"},
            {"points r", "--calibration"},
        },
        "* --out o");
}

}  // namespace
