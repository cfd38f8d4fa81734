#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/board.h"
#include "measure/calibration.h"
#include "measure/export.h"
#include "measure/progress.h"

namespace measure {

// Which parameters of the distortion are found; the others stay 0.
struct DistortionModel {
    bool k1 = true, k2 = true, tangential = true /* p1 and p2 */, k3 = false;
};
// From names with commas, as in "k1,k2,p1,p2" (the default), or "none". Throws InputError for others.
MEASURE_API DistortionModel DistortionModelOf(const std::string& names);

// How one pose fits. Root mean squares over its points.
struct PoseFit {
    std::string name;
    double cameraRms = 0, projectorRms = 0;  // pixels, of the distances between seen and computed places
    double tilt = 0;                         // degrees between the board's normal and the camera's axis
    double distance = 0;                     // millimetres from the camera to the middle of the board
    // By a calibration from the other poses alone: what a measurement would make of this pose.
    double spacing = 0;   // millimetres, of the squares or circles
    double planeRms = 0;  // millimetres, of the points from their best plane
    double pointRms = 0;  // millimetres, of the points from the board laid best into them
    std::vector<cv::Vec2d> cameraResiduals,
        projectorResiduals;  // pixels, seen less computed, one per point of the view
};

// A point of the board and how far it is off, in pixels, camera and projector together.
struct WorstPoint {
    int pose = 0, point = 0;  // index of the view and of its point
    double error = 0;
};

struct CalibrationResult {
    Calibration calibration;
    std::vector<PoseFit> poses;                        // one per view
    std::vector<WorstPoint> worst;                     // the largest first, at most ten
    double spacing = 0, planeRms = 0, pointRms = 0;    // over all poses, as in PoseFit
    double cameraCoverage = 0, projectorCoverage = 0;  // share of the cells of an 8 x 6 grid in which points lie
    double tiltSpread = 0;                             // degrees, the largest angle between two poses of the board
    std::vector<std::string> advice;                   // one line each; empty when nothing is to be wished for
    bool isSound = true;                               // false: something in the advice makes the result doubtful
};

// Fewer poses do not determine a calibration.
inline constexpr int kLeastPoses = 4;

// Calibrates a camera and a projector from poses of one board: each alone by Zhang's method ("A flexible new technique
// for camera calibration", IEEE Trans. Pattern Anal. Mach. Intell. 22, 1330 (2000)), then both and all poses together
// by least squares. Poses are left out in turn by one Gauss-Newton step from the full solution. The standard deviations
// are what the residuals of the points say, of which all four count as one observation, or what leaving out poses says
// (the jackknife) where that is more. Throws InputError when there are fewer than kLeastPoses views, when views or
// sizes do not fit to each other, for points that are not finite, when camera and projector see the board mirrored to
// each other, and when the poses do not determine the parameters.
MEASURE_API CalibrationResult Calibrate(const std::vector<BoardView>& views, const BoardDescription& board,
                                        cv::Size projectorSize, const DistortionModel& model = {},
                                        const Progress& progress = {});

// Lines for people, the verdict first; and all figures as a JSON object. What follows belongs to the views that were
// calibrated from: throws InputError for others.
MEASURE_API std::string ReportOf(const CalibrationResult& result, const BoardDescription& board);
MEASURE_API std::string SummaryOf(const CalibrationResult& result, const std::vector<BoardView>& views,
                                  const BoardDescription& board);

// The picture of a pose with its points and, enlarged, how far the camera saw them from where the calibration expects
// them; the `worst` of it are named by column and row of the board. Throws InputError for a view without a picture, and
// unless the fit has a residual for each of its points.
MEASURE_API cv::Mat3b DrawPose(const BoardView& view, const PoseFit& fit, const BoardDescription& board, int worst = 3);
// Where points of all poses lie in the pictures of camera and projector, in colours by how far they are off. Throws
// InputError for other views than those that were calibrated from.
MEASURE_API cv::Mat3b DrawCoverage(const std::vector<BoardView>& views, const CalibrationResult& result);

}  // namespace measure
