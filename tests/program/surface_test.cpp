// The commands `vorip surface …`, from points to files of other programs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "measure/heightmap.h"
#include "measure/io.h"
#include "tests/support/program.h"

using namespace test;

namespace {

// A tilted plate with a ledge 2 mm nearer to the camera, points 0.2 mm apart, and a spherical cap of radius 30.
class SurfaceProgram : public Program {
protected:
    void SetUp() override {
        Program::SetUp();
        std::filesystem::create_directory(File("points"));
        const auto write = [&](const char* name, const auto& value) {
            measure::WritePicture(File(name).string(), Draw<float>(300, 200, value));
        };
        const auto depth = [](int c, int r) {
            const double x = 0.2 * c - 30, y = 0.2 * r - 20, cap = 100 - (x + 15) * (x + 15) - (y + 5) * (y + 5);
            if (cap > 0) return 400 - (std::sqrt(800 + cap) - std::sqrt(800));
            const double noise = 0.004 * std::sin(37.0 * c + 91.0 * r * r);
            return 400 + 0.02 * x - (x > 5 ? 2 : 0) + noise;
        };
        write("points/x.npy", [](int c, int) { return 0.2 * c - 30; });
        write("points/y.npy", [](int, int r) { return 0.2 * r - 20; });
        write("points/z.npy", depth);
        WriteBytes("scan.npy", "no array");
        Write("grey.png", cv::Mat(20, 30, CV_8U, cv::Scalar(9)));
        WriteBytes("empty.npy", Npy("<f4", cv::Mat(9, 9, CV_32F, cv::Scalar(NAN))));
    }

    double Value(const std::string& folder, const std::string& quantity) const {
        return nlohmann::json::parse(ReadText(folder + "/summary.json"))["results"][quantity]["value"];
    }
};

TEST_F(SurfaceProgram, MeasuresFromPointsToResults) {
    EXPECT_NE(Succeed("surface grid points --pitch 0.25 --out m/part.npy").find("240 x 160"), std::string::npos)
        << ReadText(".stdout");
    const measure::HeightMap map = measure::ReadHeightMap(File("m/part.npy").string());
    EXPECT_EQ(map.pitch, 0.25);
    EXPECT_NEAR(map.origin.x, -30, 1e-9);
    EXPECT_NEAR(map.origin.y, 20, 1e-9);
    EXPECT_TRUE(std::filesystem::exists(File("m/part_picture.png")));

    Succeed("surface step m/part.npy --base 105,5,30,140 --top 160,5,70,140 --out step");
    EXPECT_NEAR(Value("step", "step_height"), 2, 3 * Value("step", "standard_error") + 1e-4);
    EXPECT_NEAR(Value("step", "slope_x"), -0.02, 1e-4);
    EXPECT_NE(ReadText("step/results.csv").find("quantity,value,unit\nstep_height,"), std::string::npos);
    EXPECT_NE(ReadText("step/summary.json").find("\"picture.png\""), std::string::npos);

    EXPECT_EQ(Run("surface level m/part.npy --mask none.png --out x.npy").exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(File("x.npy")));
    Succeed("surface level m/part.npy --robust --out level.npy");
    Succeed("surface level m/part.npy --points 100,20 100,130 125,70 --out level3.tiff");
    EXPECT_NEAR(measure::ReadHeightMap(File("level3.tiff").string()).z(75, 200), 2, 0.02);
    Succeed("surface profile level3.tiff --line 85,100 230,100 --width 9 --out profile");
    EXPECT_NEAR(Value("profile", "length"), 145 * 0.25, 1e-9);
    const std::string csv = ReadText("profile/profile.csv");
    EXPECT_EQ(std::count(csv.begin(), csv.end(), '\n'), 147);
    for (const char* name : {"profile/profile.png", "profile/picture.png", "profile/results.csv"})
        EXPECT_TRUE(std::filesystem::exists(File(name))) << name;

    EXPECT_NE(
        Succeed("surface roughness m/part.npy --cutoff 2.5 --out rough").find("Gaussian filter 2.5 mm, pitch 0.25"),
        std::string::npos);
    EXPECT_GT(Value("rough", "Sa"), 0);
    Succeed("surface compare m/part.npy level.npy --out same");
    EXPECT_LT(Value("same", "rms"), 1e-5);
    Succeed("surface compare m/part.npy m/part.npy --align rigid --out rigid");
    EXPECT_LT(std::abs(Value("rigid", "translation_x")), 1e-6);
    Succeed("surface check points --sphere 75,75,40 --diameter 60 --plane 230,20,50,150 --out check");
    EXPECT_NEAR(Value("check", "diameter"), 60, 1e-3);
    EXPECT_LT(Value("check", "probing_error_form"), 1e-3);
    EXPECT_NEAR(Value("check", "flatness"), 0.008, 1e-3);
    Succeed(
        "surface check m/part.npy --sphere 60,60,25 --out check");  // the grid's points, between those of the sphere
    EXPECT_NEAR(Value("check", "diameter"), 60, 0.05);

    EXPECT_EQ(Run("surface export level.npy --out e/a.gsf e/a.tiff --bits 16").exitCode, 2);
    EXPECT_FALSE(std::filesystem::exists(File("e")));  // 16 bits are not for all of them
    Succeed("surface export level.npy --out e/a.gsf e/a.stl e/a.xyz e/a.csv e/a.png e/a.tiff");
    for (const char* name : {"e/a.gsf", "e/a.png", "e/a.tiff"})
        EXPECT_NEAR(measure::ReadHeightMap(File(name).string()).z(20, 200),
                    measure::ReadHeightMap(File("level.npy").string()).z(20, 200), 2e-4);
    Succeed("surface step points --base 135,10,30,170 --top 185,10,80,170 --out camera");
    EXPECT_NEAR(Value("camera", "step_height"), 2, 0.01);
    measure::WritePicture(File("plain.tiff").string(), cv::Mat1f(30, 40, 1.0f));
    Succeed("surface export plain.tiff --pitch 0.1 --unit um --out plain.npy");
    EXPECT_EQ(measure::ReadHeightMap(File("plain.npy").string()).unit, "um");
}

TEST_F(SurfaceProgram, RefusesWhatCannotBeMeasured) {
    Succeed("surface grid points --pitch 0.5 --out part.npy");
    ExpectRefusals(
        {
            {"", "vorip surface needs a command"},
            {"polish part.npy", "no command 'surface polish' (try vorip surface --help)"},
            {"grid points --pitch 0 --out o/a.npy", "a number above 0"},
            {"grid points --pitch 0.00001 --out o/a.npy", "too large"},
            {"grid grey.png --pitch 1 --out o/a.npy", "no x.npy"},
            {"grid points --pitch 1 --out o/a.jpg", "must end with"},
            {"level scan.npy --out o/a.npy", "scan.npy"},
            {"level grey.png --out o/a.npy", "8-bit"},
            {"level empty.npy --out o/a.npy", "no pixel has a height", 5},
            {"level part.npy --out o/a.npy --form sphere", "sphere"},
            {"level part.npy --out o/a.npy --points 1,1 2,2", "three points"},
            {"level part.npy --out o/a.npy --points 1,1 2,2 3,3", "one line"},
            {"level part.npy --out o/a.npy --points 1,1 2,2 9999,3", "outside"},
            {"level part.npy --out o/a.npy --mask grey.png", "same size"},
            {"step part.npy --out o --base 1,1,5,5", "--top"},
            {"step part.npy --out o --base 1,1,5,5 --top 1,1,5", "overlap"},
            {"step part.npy --out o --base 1,1,5,5 --top 500,1,5,5", "holds no pixel"},
            {"step part.npy --out o --base 1,1,5,5 --top 40,10,9,9 --margin 4", "nothing is left of the base", 5},
            {"profile part.npy --out o --line 1,1", "two points"},
            {"profile part.npy --out o --line 1,1 500,1", "outside the map"},
            {"profile part.npy --out o --line 1,1 a,1", "must be points"},
            {"roughness part.npy --out o --cutoff 0.5", "two pixels"},
            {"compare part.npy grey.png --out o", "grey.png"},
            {"compare part.npy points --out o", "--pitch"},
            {"check part.npy --out o", "--sphere"},
            {"check part.npy --out o --plane 1,1,9,9 --distance 5", "two --sphere"},
            {"export part.npy --out o/a.npy --bits 16", "16 bits"},
            {"export part.npy --out o/a.gsf --pitch 3", "says that it is 0.5 mm"},
            {"export points --out o/a.stl", "pitch"},
        },
        "surface *");
    WriteBytes("points/summary.json", R"({"files": {"other.npy": {"bytes": 9, "crc32": "00000000"}}})");
    ExpectRefusals({{"surface grid points --pitch 1 --out o/a.npy", "does not list the files"}});
    const std::string mark = R"({"bytes": 9, "crc32": "00000000"})";
    WriteBytes("points/summary.json",
               R"({"files": {"x.npy": )" + mark + R"(, "y.npy": )" + mark + R"(, "z.npy": )" + mark + "}}");
    ExpectRefusals(
        {{"grid points --pitch 1 --out o/a.npy", "different runs"}, {"level points --out o/a.npy", "different runs"}},
        "surface *");
}

}  // namespace
