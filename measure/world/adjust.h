#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/calibrate.h"
#include "measure/progress.h"

// The joint adjustment of camera, projector and all poses of a board: least squares of the distances between where
// points were seen and where they should be, in pixels of camera and projector alike.
namespace measure {

inline constexpr char kUndetermined[] =
    "the poses do not determine camera and projector: more of them are needed, tilted in different directions";

// From the board's frame to the camera's.
struct BoardPose {
    cv::Matx33d rotation = cv::Matx33d::eye();
    cv::Vec3d translation = {0, 0, 0};
};

// Camera and projector (fx fy cx cy k1 k2 p1 p2 k3 each), rotation and translation between them.
inline constexpr int kLensTerms = 9, kRigTerms = 2 * kLensTerms + 6;
using RigVector = cv::Matx<double, kRigTerms, 1>;
using RigMatrix = cv::Matx<double, kRigTerms, kRigTerms>;

// What one pose says about the rig once the pose itself has been eliminated.
struct PoseEquations {
    RigMatrix normal = RigMatrix::zeros();
    RigVector gradient = RigVector::zeros();
};

class RigAdjustment {
public:
    RigAdjustment(const std::vector<BoardView>& views, const std::vector<cv::Point2d>& boardPoints,
                  const DistortionModel& model);

    // Gauss-Newton from the given values to the least sum of squares, damped after Levenberg and Marquardt where a step
    // leads up. Throws InputError when the poses do not determine the parameters.
    void Run(Calibration& rig, std::vector<BoardPose>& poses, const Progress& progress) const;

    // Seen less computed, camera (x, y) and projector (column, row), per point of a view.
    std::vector<cv::Vec4d> Residuals(const Calibration& rig, const BoardPose& pose, std::size_t view) const;

    // At the solution.
    struct Statistics {
        RigVector deviation;                   // standard deviations
        std::vector<Calibration> withoutPose;  // the rig as the others see it, one per view
        std::vector<std::string> missing;  // terms of the distortion that were not to be found, but are clearly not 0
    };
    Statistics Judge(const Calibration& rig, const std::vector<BoardPose>& poses) const;

private:
    struct PointRows;
    struct PoseSystem;

    PointRows RowsOf(const Calibration& rig, const BoardPose& pose, const BoardPoint& point) const;
    PoseSystem Build(const Calibration& rig, const BoardPose& pose, const BoardView& view, double damping) const;
    double SumOfSquares(const Calibration& rig, const std::vector<BoardPose>& poses) const;
    using Terms = std::array<bool, kRigTerms>;
    // Of these parameters; 0 for the others. Throws InputError when they are not determined.
    static RigMatrix Inverse(const RigMatrix& normal, const Terms& terms);
    RigMatrix Inverse(const RigMatrix& normal) const { return Inverse(normal, mIsFound); }
    std::vector<std::string> FindMissing(const PoseEquations& all, const RigMatrix& scores) const;

    const std::vector<BoardView>& mViews;
    const std::vector<cv::Point2d>& mBoard;
    Terms mIsFound{};
};

// The rig after a step of its parameters.
Calibration Moved(const Calibration& rig, const RigVector& step);

}  // namespace measure
