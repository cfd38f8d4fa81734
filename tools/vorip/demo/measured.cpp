#include "tools/vorip/demo/measured.h"

#include <cmath>
#include <cstdio>
#include <string>

#include "measure/calibrate.h"
#include "measure/io.h"
#include "measure/simulatescan.h"
#include "tools/vorip/commands/runs.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

namespace simulate = measure::simulate;
namespace fs = std::filesystem;

constexpr int kPoses = 8;
constexpr double kMostRms = 0.3;  // millimetres; the noise of the camera alone leaves 0.07 on average
constexpr double kLeastValid = 0.95;

measure::Scan CodeBothDirections(const simulate::Rig& rig) {
    measure::Scan scan;
    const auto axis = [](double length) { return simulate::SineAxis(length, {length, length / 7, length / 49}, 4); };
    scan.columns = axis(rig.projectorSize.width);
    scan.rows = axis(rig.projectorSize.height);
    simulate::NamePictures(scan, false);
    return scan;
}

simulate::Capture UsualCapture() {
    simulate::Capture capture;
    capture.noise = 1.5;
    capture.gamma = 1.4;
    return capture;
}

measure::CalibrationResult CalibrateByBoards(const simulate::Rig& rig, const measure::Scan& scan) {
    Progress progress("vorip demo");
    const measure::BoardDescription board{measure::BoardPattern::eChessboard, {9, 7}, 15};
    const simulate::Board printed = simulate::Chessboard(board.count, board.spacing);
    std::vector<measure::BoardView> views;
    for (const simulate::Pose& pose : simulate::BoardPoses(rig, printed, kPoses)) {
        progress.Stage("calibrating", static_cast<double>(views.size()) / kPoses);
        const simulate::Simulation scene(simulate::BoardScene(rig, printed, pose), 8);
        const auto render = [&](simulate::Axis axis, const measure::CodedAxis& coding) {
            return simulate::RenderAxis(scene, axis, coding, UsualCapture());
        };
        views.push_back(measure::ViewBoard("pose" + std::to_string(views.size()), scan,
                                           render(simulate::Axis::eColumns, *scan.columns),
                                           render(simulate::Axis::eRows, *scan.rows), board));
    }
    return measure::Calibrate(views, board, rig.projectorSize);
}

bool Check(const fs::path& result, const simulate::Truth& truth) {
    const cv::Mat1f z = measure::ReadPicture((result / "z.npy").string());
    double squares = 0, judged = 0, lit = 0, valid = 0;
    for (int y = 0; y < z.rows; ++y)
        for (int x = 0; x < z.cols; ++x) {
            if (!truth.lit(y, x) || truth.mixed(y, x)) continue;
            lit += 1;
            if (!std::isfinite(z(y, x))) continue;
            const double error = static_cast<double>(z(y, x)) - truth.z(y, x);
            valid += 1;
            if (std::abs(error) < 10 * kMostRms) judged += 1, squares += error * error;
        }
    const double rms = std::sqrt(squares / std::max(judged, 1.0));
    const auto report = [](const char* what, double value, const char* unit, const char* limit, bool passed) {
        std::printf("  %-38s %8.3f %-4s (%s)%s\n", what, value, unit, limit, passed ? "" : "  MISSED");
        return passed;
    };
    bool passed =
        report("rms error of the depths", rms, "mm", cv::format("at most %g", kMostRms).c_str(), rms <= kMostRms);
    passed &= report("lit pixels with a point", 100 * valid / std::max(lit, 1.0), "%",
                     cv::format("at least %g", 100 * kLeastValid).c_str(), valid >= kLeastValid * lit);
    passed &= report("points at the right depth", 100 * judged / std::max(valid, 1.0), "%", "at least 99.9",
                     judged >= 0.999 * valid);
    return passed;
}

}  // namespace

bool RunMeasured(const fs::path& folder) {
    const fs::path own = folder / "measured";
    const simulate::Rig rig = simulate::StandardRig();
    const measure::Scan scan = CodeBothDirections(rig);
    const measure::CalibrationResult calibration = CalibrateByBoards(rig, scan);
    const simulate::Simulation scene(simulate::MakeScene("two-objects", rig), 2);
    simulate::WriteScan(own, scene, scan, UsualCapture());
    const fs::path file = own / "calibration.yml";
    measure::WriteCalibration(file.string(), calibration.calibration);

    MeasureOptions options;
    options.scan = (own / "scan.json").string();
    options.calibration = file.string();
    options.out = (own / "result").string();
    std::printf("two objects before a wall, measured in millimetres with a calibration from %d poses of a board:\n",
                kPoses);
    RunMeasure(options);
    return Check(own / "result", scene.GetTruth());
}

}  // namespace vorip
