// `vorip calibrate`, from folders of pictures to a calibration.
#include <gtest/gtest.h>

#include <cmath>

#include "measure/calibration.h"
#include "measure/simulatescan.h"
#include "tests/support/program.h"

using namespace test;

namespace {

namespace simulate = measure::simulate;

TEST_F(Program, Calibrates) {
    const simulate::Rig rig = simulate::StandardRig({400, 300});
    const simulate::Board board = simulate::Chessboard({9, 6}, 14);
    measure::Scan scan;
    scan.columns = simulate::SineAxis(1920, {48, 384, 1920}, 3);
    scan.rows = simulate::SineAxis(1080, {45, 360, 1080}, 3);
    scan.columns->origin = scan.rows->origin = 0;
    scan.rows->direction = -1;
    simulate::NamePictures(scan, false);
    simulate::Capture capture;
    capture.noise = 0.5;
    capture.cameraBlur = 0.7;
    int number = 0;
    for (const simulate::Pose& pose : simulate::BoardPoses(rig, board, 4))
        WriteScan(File("poses/p" + std::to_string(number++)),
                  simulate::Simulation(simulate::BoardScene(rig, board, pose), 4), scan, capture);
    WriteScan(File("poses/p4"), simulate::Simulation(simulate::MakeScene("plane", rig), 1), scan, capture);
    std::filesystem::copy(File("poses/p0/scan.json"), File("scan.json"));
    std::filesystem::create_directory(File("empty"));

    const std::string command = "calibrate --scan scan.json --board 9x6 --square 14 ";
    std::filesystem::create_directory(File("made"));
    std::filesystem::create_symlink("true.yml", File("made/c.yml"));
    WriteBytes("made/true.yml", "an earlier one");
    std::filesystem::permissions(File("made/true.yml"), std::filesystem::perms::owner_all);
    const Outcome outcome = Run(command + "poses/* empty --out made/c.yml --report report");
    ASSERT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_EQ(outcome.out.rfind("calibration: doubtful\n  - 4 poses are few", 0), 0U) << outcome.out;
    EXPECT_NE(outcome.err.find("left out: p4: no board of 9 x 6 inner corners"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("left out: empty: "), std::string::npos) << outcome.err;
    const measure::Calibration c = measure::ReadCalibration(File("made/c.yml").string());
    EXPECT_TRUE(std::filesystem::is_symlink(File("made/c.yml")));
    EXPECT_EQ(std::filesystem::status(File("made/true.yml")).permissions(), std::filesystem::perms::owner_all);
    EXPECT_EQ(c.cameraSize, rig.cameraSize);
    EXPECT_EQ(c.projectorSize, rig.projectorSize);
    EXPECT_EQ(c.poses, 4);
    EXPECT_LT(c.cameraRms, 0.1);
    EXPECT_LT(std::abs(c.camera.fx - rig.camera.fx), 3 * c.cameraDeviation.fx);
    EXPECT_LT(std::abs(c.projector.fx - rig.projector.fx), 3 * c.projectorDeviation.fx);
    for (int i = 0; i < 3; ++i)
        EXPECT_LT(std::abs(c.translation[i] - rig.toProjector.translation[i]), 3 * c.translationDeviation[i]);
    for (const char* name : {"p0_points.png", "p3_points.png", "coverage.png"})
        EXPECT_FALSE(Read("report/" + std::string(name)).empty()) << name;
    EXPECT_NE(ReadText("report/summary.json").find("\"verdict\": \"doubtful\""), std::string::npos);
    EXPECT_NE(outcome.out.find(ReadText("report/report.txt")), std::string::npos);

    std::filesystem::create_symlink("/dev/full", File("full.yml"));
    ExpectRefusals({
        {command + "poses/* --out full.yml", "full.yml: is a device or a pipe"},
        {command + "poses/p[0-2] empty --out o/c.yml", "3 of 4 poses can be used, at least 4 are needed; empty: "},
        {command + "poses/* --out o/c.txt", "must end with .yml"},
        {command + "poses/* poses/p2/ --out o/c.yml", "poses/p2/: this pose is given twice"},
        {command + "poses/* --out poses", "must end with .yml"},
        {command + "poses/* --out o/c.yml --distortion k9", "k9"},
        {command + "poses/* --out o/c.yml --pattern stars", "stars"},
        {"calibrate poses/* --scan scan.json --board 2x6 --square 14 --out o/c.yml", "a board of 2 x 6"},
        {"calibrate poses/* --scan scan.json --board 9by6 --square 14 --out o/c.yml", "--board"},
        {"calibrate poses/* --scan scan.json --board 9x6 --square 0 --out o/c.yml", "--square"},
        {"calibrate poses/* --scan none.json --board 9x6 --square 14 --out o/c.yml", "none.json"},
    });
}

}  // namespace
