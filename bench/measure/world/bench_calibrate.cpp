// How right calibrations are: known points of simulated poses with noise, and rendered boards; and what they cost.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <random>
#include <vector>

#include "measure/calibrate.h"
#include "measure/simulatescan.h"

namespace measure::bench {
namespace {

using simulate::Pose;
using simulate::Rig;

const BoardDescription kBoard{BoardPattern::eChessboard, {13, 9}, 10};

double Now() { return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count(); }

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

cv::Vec3d ToProjector(const Rig& rig, const cv::Vec3d& p) {
    return rig.toProjector.rotation * p + rig.toProjector.translation;
}
cv::Point2d See(const Lens& lens, const cv::Vec3d& p) { return lens.Project({p[0] / p[2], p[1] / p[2]}); }

std::vector<BoardView> MakeViews(const Rig& rig, int count, double noise, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal(0, 1);
    const auto off = [&] { return noise * cv::Point2d(normal(random), normal(random)); };
    std::vector<BoardView> views;
    for (const Pose& pose : simulate::BoardPoses(rig, simulate::Chessboard(kBoard.count, kBoard.spacing), count)) {
        BoardView view;
        view.name = std::to_string(views.size());
        view.picture = cv::Mat1b(rig.cameraSize, 0);
        for (const cv::Point2d& at : BoardPoints(kBoard)) {
            const cv::Vec3d p = pose.rotation * cv::Vec3d(at.x, at.y, 0) + pose.translation;
            view.points.push_back({static_cast<int>(view.points.size()), See(rig.camera, p) + off(),
                                   See(rig.projector, ToProjector(rig, p)) + off(), cv::Matx22d::eye(), 0});
        }
        views.push_back(view);
    }
    return views;
}

// How far points of the field are off when the true pixels meet the found calibration, millimetres.
double PointError(const Rig& rig, const Calibration& c) {
    double squares = 0, count = 0;
    for (double z = 350; z <= 450; z += 50)
        for (double y = -60; y <= 60; y += 20)
            for (double x = -90; x <= 90; x += 20) {
                const cv::Vec3d p(x, y, z);
                const cv::Point2d d = c.camera.Direction(See(rig.camera, p));
                const double u = c.projector.Direction(See(rig.projector, ToProjector(rig, p))).x;
                const cv::Vec3d ray(d.x, d.y, 1), turned = c.rotation * ray;
                const double depth = (u * c.translation[2] - c.translation[0]) / (turned[0] - u * turned[2]);
                squares += cv::norm(depth * ray - p, cv::NORM_L2SQR);
                ++count;
            }
    return std::sqrt(squares / count);
}

void JudgeKnownPoints() {
    const Rig rig = simulate::StandardRig({1936, 1216});
    const struct {
        const char* name;
        int poses;
        double noise;
        DistortionModel model;
    } rows[] = {
        {"6 poses, no noise", 6, 0, {}},   {"6 poses, 0.1 px", 6, 0.1, {}},
        {"12 poses, 0.1 px", 12, 0.1, {}}, {"20 poses, 0.1 px", 20, 0.1, {}},
        {"20 poses, 0.3 px", 20, 0.3, {}}, {"12 poses, 0.1 px, p1 p2 left out", 12, 0.1, {true, true, false, false}},
    };
    std::printf(
        "| known points, median of 5 | rms, px | focal error | T error, mm | point rms, mm | left out, mm | s |\n");
    std::printf("|---|---|---|---|---|---|---|\n");
    for (const auto& row : rows) {
        std::vector<double> rms, focal, shift, point, leftOut, seconds;
        for (unsigned seed = 1; seed <= 5; ++seed) {
            const std::vector<BoardView> views = MakeViews(rig, row.poses, row.noise, seed);
            const double start = Now();
            const CalibrationResult result = Calibrate(views, kBoard, rig.projectorSize, row.model);
            seconds.push_back(Now() - start);
            const Calibration& c = result.calibration;
            rms.push_back(std::sqrt(0.5) * std::hypot(c.cameraRms, c.projectorRms));
            focal.push_back(std::abs(c.camera.fx / rig.camera.fx - 1));
            shift.push_back(cv::norm(c.translation - rig.toProjector.translation));
            point.push_back(PointError(rig, c));
            leftOut.push_back(result.pointRms);
        }
        std::printf("| %s | %.3f | %.0e | %.3f | %.4f | %.4f | %.2f |\n", row.name, Median(rms), Median(focal),
                    Median(shift), Median(point), Median(leftOut), Median(seconds));
    }
}

void JudgePictures() {
    const Rig rig = simulate::StandardRig({1936, 1216});
    Scan scan;
    scan.columns = simulate::SineAxis(1920, {20, 160, 1920}, 4);
    scan.rows = simulate::SineAxis(1080, {20, 160, 1080}, 4);
    scan.columns->origin = scan.rows->origin = 0;
    simulate::Capture capture;
    capture.noise = 1;
    capture.cameraBlur = 1;
    const struct {
        const char* name;
        BoardDescription board;
    } rows[] = {{"chessboard 13 x 9", kBoard},
                {"circles 12 x 9", {BoardPattern::eCircles, {12, 9}, 10}},
                {"acircles 6 x 13", {BoardPattern::eStaggeredCircles, {6, 13}, 7}}};
    std::printf(
        "\n| rendered, 6 poses, 1936 x 1216, 8 bits, noise 1 | camera, px | projector, px | focal error | "
        "T error, mm | point rms, mm | finding, s per pose |\n|---|---|---|---|---|---|---|\n");
    for (const auto& row : rows) {
        const bool isStaggered = row.board.pattern == BoardPattern::eStaggeredCircles;
        const simulate::Board printed = row.board.pattern == BoardPattern::eChessboard
                                            ? simulate::Chessboard(row.board.count, row.board.spacing)
                                            : simulate::CircleGrid(row.board.count, row.board.spacing, isStaggered);
        std::vector<BoardView> views;
        std::vector<double> seconds;
        for (const Pose& pose : simulate::BoardPoses(rig, printed, 6)) {
            const simulate::Simulation scene(simulate::BoardScene(rig, printed, pose), 8);
            const AxisPictures columns = RenderAxis(scene, simulate::Axis::eColumns, *scan.columns, capture);
            const AxisPictures lines = RenderAxis(scene, simulate::Axis::eRows, *scan.rows, capture);
            views.push_back(ViewBoard(std::to_string(views.size()), scan, columns, lines, row.board));
            const double start = Now();
            FindBoard(views.back().picture, row.board);
            seconds.push_back(Now() - start);
        }
        const Calibration c = Calibrate(views, row.board, rig.projectorSize).calibration;
        std::printf("| %s | %.3f | %.3f | %.0e | %.3f | %.4f | %.2f |\n", row.name, c.cameraRms, c.projectorRms,
                    std::abs(c.camera.fx / rig.camera.fx - 1), cv::norm(c.translation - rig.toProjector.translation),
                    PointError(rig, c), Median(seconds));
        std::fflush(stdout);
    }
}

}  // namespace
}  // namespace measure::bench

int main() {
    measure::bench::JudgeKnownPoints();
    measure::bench::JudgePictures();
}
