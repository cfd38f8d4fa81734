#include "measure/calibrate.h"

#include <algorithm>
#include <cmath>
#include <opencv2/calib3d.hpp>  // its names of flags alone

#include "measure/base/arguments.h"
#include "measure/base/quantile.h"
#include "measure/error.h"
#include "measure/world/adjust.h"
#include "measure/world/judgecalibration.h"
#include "measure/world/rotation.h"
#include "measure/world/vision.h"

namespace measure {
namespace {

void CheckViews(const std::vector<BoardView>& views, std::size_t boardPoints, cv::Size projectorSize) {
    constexpr std::size_t kLeastPoints = 6;
    if (views.size() < kLeastPoses)
        throw InputError(cv::format("%zu poses of the board: at least %d are needed, 10 and more are better",
                                    views.size(), kLeastPoses));
    if (projectorSize.empty()) throw InputError("the projector has no pixels");
    for (const BoardView& view : views) {
        if (view.picture.empty()) throw InputError(view.name + ": there is no picture");
        if (view.picture.size() != views[0].picture.size())
            throw InputError(
                cv::format("%s has %d x %d pixels, %s has %d x %d: all poses must be taken with one "
                           "camera, in one size",
                           view.name.c_str(), view.picture.cols, view.picture.rows, views[0].name.c_str(),
                           views[0].picture.cols, views[0].picture.rows));
        if (view.points.size() < kLeastPoints)
            throw InputError(cv::format("%s: %zu points of the board, at least %zu are needed", view.name.c_str(),
                                        view.points.size(), kLeastPoints));
        RequireNotNegative(view.name + ": the diameter of its circles", view.diameter);
        int mirrored = 0;
        for (const BoardPoint& point : view.points) {
            if (point.index < 0 || static_cast<std::size_t>(point.index) >= boardPoints)
                throw InputError(view.name + ": has points that the board has not");
            for (const double place : {point.camera.x, point.camera.y, point.projector.x, point.projector.y})
                RequireFinite(view.name + ": a place of the board", place);
            mirrored += cv::determinant(point.slope) < 0 ? 1 : 0;
        }
        if (2 * static_cast<std::size_t>(mirrored) > view.points.size())
            throw InputError(view.name +
                             ": camera and projector see the board mirrored to each other: is \"direction\" or the "
                             "order of the frames wrong for columns or rows, or are the camera's pictures mirrored?");
    }
}

// One side alone, with the board's poses before it.
struct Side {
    Lens lens;
    std::vector<BoardPose> poses;
};

int FlagsOf(const DistortionModel& model) {
    return (model.k1 ? 0 : cv::CALIB_FIX_K1) | (model.k2 ? 0 : cv::CALIB_FIX_K2) | (model.k3 ? 0 : cv::CALIB_FIX_K3) |
           (model.tangential ? 0 : cv::CALIB_ZERO_TANGENT_DIST);
}

Side CalibrateAlone(const std::vector<BoardView>& views, const std::vector<cv::Point2d>& board, cv::Size size,
                    cv::Point2d BoardPoint::*place, const DistortionModel& model) {
    SideViews sideViews{{}, {}, size};
    for (const BoardView& view : views) {
        auto& onBoard = sideViews.onBoard.emplace_back();
        auto& seen = sideViews.seen.emplace_back();
        for (const BoardPoint& point : view.points) {
            const cv::Point2d at = board[static_cast<std::size_t>(point.index)];
            onBoard.emplace_back(static_cast<float>(at.x), static_cast<float>(at.y), 0.0f);
            seen.emplace_back(point.*place);
        }
    }
    SideSolution solution;
    if (!GetVision().calibrate(sideViews, FlagsOf(model), solution)) throw InputError(kUndetermined);
    const cv::Mat1d &matrix = solution.matrix, &k = solution.distortion;
    Side side;
    side.lens = {matrix(0, 0), matrix(1, 1), matrix(0, 2), matrix(1, 2), k(0), k(1), k(2), k(3), k(4)};
    for (std::size_t i = 0; i < solution.turns.size(); ++i)
        side.poses.push_back({RotationOf(solution.turns[i]), solution.shifts[i]});
    return side;
}

// Each pose tells how camera and projector stand to each other; the median of all is not led astray by one that is off.
void PlaceProjector(const Side& camera, const Side& projector, Calibration& rig) {
    std::vector<double> turns[3], shifts[3];
    for (std::size_t i = 0; i < camera.poses.size(); ++i) {
        const BoardPose &c = camera.poses[i], &p = projector.poses[i];
        const cv::Matx33d rotation = p.rotation * c.rotation.t();
        const cv::Vec3d turn = TurnOf(rotation);
        const cv::Vec3d shift = p.translation - rotation * c.translation;
        for (int j = 0; j < 3; ++j) {
            turns[j].push_back(turn[j]);
            shifts[j].push_back(shift[j]);
        }
    }
    rig.rotation = RotationOf({MedianOf(turns[0]), MedianOf(turns[1]), MedianOf(turns[2])});
    rig.translation = {MedianOf(shifts[0]), MedianOf(shifts[1]), MedianOf(shifts[2])};
}

// How far the centre of a tilted circle's picture lies from the picture of its centre.
cv::Point2d CentreShift(const Lens& lens, const BoardPose& pose, cv::Point2d centre, double radius) {
    constexpr int kSides = 48;
    const auto project = [&](cv::Point2d at) {
        const cv::Vec3d p = pose.rotation * cv::Vec3d(at.x, at.y, 0) + pose.translation;
        return lens.Project({p[0] / p[2], p[1] / p[2]});
    };
    const cv::Point2d truth = project(centre);
    // The centre of gravity of a polygon, relative to `truth`.
    double area = 0;
    cv::Point2d moment, last = project({centre.x + radius, centre.y}) - truth;
    for (int i = 1; i <= kSides; ++i) {
        const double angle = 2 * CV_PI * i / kSides;
        const cv::Point2d on(centre.x + radius * std::cos(angle), centre.y + radius * std::sin(angle));
        const cv::Point2d next = project(on) - truth;
        const double twice = last.cross(next);
        area += twice;
        moment += twice / 3 * (last + next);
        last = next;
    }
    return area != 0 ? moment / area : cv::Point2d();
}

// Moves the points of circles to where their true centres are seen; what the projector shows moves along.
void CorrectCentres(const std::vector<BoardView>& seen, const Calibration& rig, const std::vector<BoardPose>& poses,
                    const std::vector<cv::Point2d>& board, std::vector<BoardView>& views) {
    for (std::size_t i = 0; i < views.size(); ++i)
        for (std::size_t j = 0; j < views[i].points.size(); ++j) {
            const BoardPoint& original = seen[i].points[j];
            const cv::Point2d centre = board[static_cast<std::size_t>(original.index)];
            const cv::Point2d shift = CentreShift(rig.camera, poses[i], centre, 0.5 * views[i].diameter);
            const cv::Vec2d moved = original.slope * cv::Vec2d(shift.x, shift.y);
            views[i].points[j].camera = original.camera - shift;
            views[i].points[j].projector = original.projector - cv::Point2d(moved[0], moved[1]);
        }
}

}  // namespace

DistortionModel DistortionModelOf(const std::string& names) {
    DistortionModel model{false, false, false, false};
    if (names == "none") return model;
    bool p1 = false, p2 = false;
    const std::pair<const char*, bool*> known[] = {
        {"k1", &model.k1}, {"k2", &model.k2}, {"p1", &p1}, {"p2", &p2}, {"k3", &model.k3}};
    for (std::size_t begin = 0; begin <= names.size();) {
        const std::size_t end = std::min(names.find(',', begin), names.size());
        const std::string name = names.substr(begin, end - begin);
        const auto found = std::find_if(std::begin(known), std::end(known), [&](auto& k) { return name == k.first; });
        if (found == std::end(known))
            throw InputError("\"" + name + "\" is no parameter of the distortion; there are k1,k2,p1,p2,k3 and none");
        *found->second = true;
        begin = end + 1;
    }
    if (p1 != p2) throw InputError("p1 and p2 are found together or not at all");
    if ((model.k2 && !model.k1) || (model.k3 && !model.k2))
        throw InputError("k2 goes with k1, and k3 with both: a higher term alone is no lens");
    model.tangential = p1;
    return model;
}

CalibrationResult Calibrate(const std::vector<BoardView>& views, const BoardDescription& board, cv::Size projectorSize,
                            const DistortionModel& model, const Progress& progress) {
    const std::vector<cv::Point2d> points = BoardPoints(board);
    CheckViews(views, points.size(), projectorSize);
    CalibrationResult result;
    Calibration& rig = result.calibration;
    rig.cameraSize = views[0].picture.size();
    rig.projectorSize = projectorSize;
    progress.Report("calibrating the camera", 0);
    Side camera = CalibrateAlone(views, points, rig.cameraSize, &BoardPoint::camera, model);
    progress.Report("calibrating the projector", 0.3);
    const Side projector = CalibrateAlone(views, points, rig.projectorSize, &BoardPoint::projector, model);
    rig.camera = camera.lens;
    rig.projector = projector.lens;
    PlaceProjector(camera, projector, rig);

    std::vector<BoardView> used = views;
    const RigAdjustment adjustment(used, points, model);
    std::vector<BoardPose>& poses = camera.poses;
    adjustment.Run(rig, poses, progress);
    const int rounds = board.pattern == BoardPattern::eChessboard ? 0 : 2;
    for (int i = 0; i < rounds; ++i) {
        CorrectCentres(views, rig, poses, points, used);
        adjustment.Run(rig, poses, progress);
    }
    rig.poses = static_cast<int>(views.size());
    progress.Report("judging the calibration", 0.9);
    JudgeCalibration(used, board, adjustment, poses, result);
    RequirePlausible(rig);
    return result;
}

}  // namespace measure
