#include <algorithm>
#include <cmath>

#include "measure/base/arguments.h"
#include "measure/base/json.h"
#include "measure/base/quantile.h"
#include "measure/calibrate.h"
#include "measure/error.h"
#include "measure/world/judgecalibration.h"

namespace measure {
namespace {

double PoseRms(const PoseFit& fit) { return std::hypot(fit.cameraRms, fit.projectorRms); }

double MiddlePoseRms(const std::vector<PoseFit>& poses) {
    std::vector<double> values;
    for (const PoseFit& fit : poses) values.push_back(PoseRms(fit));
    return MedianOf(values);
}

std::string LensLine(const char* name, const Lens& l, const Lens& d) {
    return cv::format(
        "%-10s fx %.2f ± %.2f, fy %.2f ± %.2f, cx %.2f ± %.2f, cy %.2f ± %.2f pixels\n"
        "           k1 %.5f ± %.5f, k2 %.5f ± %.5f, p1 %.6f ± %.6f, p2 %.6f ± %.6f, k3 %.5f ± %.5f\n",
        name, l.fx, d.fx, l.fy, d.fy, l.cx, d.cx, l.cy, d.cy, l.k1, d.k1, l.k2, d.k2, l.p1, d.p1, l.p2, d.p2, l.k3,
        d.k3);
}

std::string Verdict(const CalibrationResult& result) {
    if (!result.isSound) return "doubtful";
    return result.advice.empty() ? "good" : "usable, could be better";
}

Json ToJson(const Lens& l) {
    return {{"fx", l.fx}, {"fy", l.fy}, {"cx", l.cx}, {"cy", l.cy}, {"k1", l.k1},
            {"k2", l.k2}, {"p1", l.p1}, {"p2", l.p2}, {"k3", l.k3}};
}

Json ToJson(const cv::Vec3d& v) { return Json::array({v[0], v[1], v[2]}); }

Json ToJson(const PoseFit& fit) {
    return {
        {"name", fit.name},
        {"camera_rms_pixels", fit.cameraRms},
        {"projector_rms_pixels", fit.projectorRms},
        {"tilt_degrees", fit.tilt},
        {"distance_mm", fit.distance},
        {"left_out", {{"spacing_mm", fit.spacing}, {"plane_rms_mm", fit.planeRms}, {"point_rms_mm", fit.pointRms}}}};
}

}  // namespace

void Advise(CalibrationResult& result, const std::vector<std::string>& missing) {
    constexpr std::size_t kFewPoses = 6, kGoodPoses = 10;
    constexpr double kGoodCover = 0.5, kLittleTilt = 12, kGoodTilt = 30, kMostFocal = 0.005, kMostRms = 0.5;
    const auto wish = [&](const std::string& text) { result.advice.push_back(text); };
    const auto doubt = [&](const std::string& text) {
        wish(text);
        result.isSound = false;
    };
    const Calibration& c = result.calibration;
    const std::size_t poses = result.poses.size();
    if (poses < kFewPoses)
        doubt(cv::format("%zu poses are few: what they do not show is guessed; take 10 to 20", poses));
    else if (poses < kGoodPoses)
        wish(cv::format("%zu poses: 10 to 20 make the result surer", poses));
    const double middle = MiddlePoseRms(result.poses);
    for (const PoseFit& fit : result.poses)
        if (PoseRms(fit) > std::max(3 * middle, 0.15))
            doubt(
                cv::format("pose %s fits badly (%.2f pixels, others %.2f): did the board move between its pictures, "
                           "is it blurred or half in shadow? Leave the pose out",
                           fit.name.c_str(), PoseRms(fit), middle));
    if (c.cameraRms > kMostRms || c.projectorRms > kMostRms)
        doubt(
            cv::format("points are off by %.2f pixels in the camera, %.2f in the projector: is the board flat and "
                       "sharp, its size right, and nothing moved during the pictures of a pose?",
                       c.cameraRms, c.projectorRms));
    for (const auto& [name, lens, deviation] : {std::tuple("camera", c.camera, c.cameraDeviation),
                                                std::tuple("projector", c.projector, c.projectorDeviation)}) {
        const double share = std::max(deviation.fx / lens.fx, deviation.fy / lens.fy);
        if (share > kMostFocal)
            doubt(
                cv::format("the focal length of the %s is known to %.1f %% only: tilt the board more, and take more "
                           "poses",
                           name, 100 * share));
    }
    if (!missing.empty()) {
        std::string list;
        for (const std::string& term : missing) list += (list.empty() ? "" : ", ") + term;
        wish("the points speak for terms of the distortion that were left out (" + list +
             "): without them points in space are off by more than the residuals show");
    }
    if (result.tiltSpread < kGoodTilt) {
        const std::string text = cv::format(
            "the board was tilted by %.0f degrees at most from pose to pose: tilt it by 20 to 30 degrees to all sides",
            result.tiltSpread);
        if (result.tiltSpread < kLittleTilt)
            doubt(text);
        else
            wish(text);
    }
    for (const auto& [name, share] :
         {std::pair("camera", result.cameraCoverage), std::pair("projector", result.projectorCoverage)})
        if (share < kGoodCover)
            wish(
                cv::format("the board's points cover %.0f %% of the %s's picture: bring it to the edges and corners "
                           "of the field, where the distortion is largest",
                           100 * share, name));
}

std::string ReportOf(const CalibrationResult& result, const BoardDescription& board) {
    const Calibration& c = result.calibration;
    std::string text = "calibration: " + Verdict(result) + "\n";
    for (const std::string& advice : result.advice) text += "  - " + advice + "\n";
    text += cv::format("%d poses; points of the board are off by %.3f pixels in the camera and %.3f in the projector\n",
                       c.poses, c.cameraRms, c.projectorRms);
    text += cv::format(
        "each pose measured by the calibration of the others: points off by %.4f mm, %.4f mm from their "
        "plane, spacing %.4f mm (%g was given)\n",
        result.pointRms, result.planeRms, result.spacing, board.spacing);
    text += cv::format(
        "the points cover %.0f %% of the camera's picture and %.0f %% of the projector's, tilts differ "
        "by up to %.0f degrees\n",
        100 * result.cameraCoverage, 100 * result.projectorCoverage, result.tiltSpread);
    text += LensLine("camera", c.camera, c.cameraDeviation) + LensLine("projector", c.projector, c.projectorDeviation);
    const cv::Vec3d t = c.translation, d = c.translationDeviation;
    text +=
        cv::format("translation (%.3f ± %.3f, %.3f ± %.3f, %.3f ± %.3f) mm; camera and projector are %.2f mm apart\n",
                   t[0], d[0], t[1], d[1], t[2], d[2], cv::norm(t));
    text += "pose                  camera  projector  tilt  distance   left out: points   plane  spacing\n";
    text += "                      pixels     pixels   deg        mm                mm      mm       mm\n";
    for (const PoseFit& fit : result.poses)
        text += cv::format("%-20s %7.3f %10.3f %5.1f %9.1f %18.4f %7.4f %8.4f\n", fit.name.c_str(), fit.cameraRms,
                           fit.projectorRms, fit.tilt, fit.distance, fit.pointRms, fit.planeRms, fit.spacing);
    return text;
}

std::string SummaryOf(const CalibrationResult& result, const std::vector<BoardView>& views,
                      const BoardDescription& board) {
    const Calibration& c = result.calibration;
    Json worst = Json::array(), poses = Json::array();
    RequirePositive("the number of the board's columns", board.count.width);
    for (const WorstPoint& w : result.worst) {
        const bool isKnown = w.pose >= 0 && static_cast<std::size_t>(w.pose) < views.size() && w.point >= 0 &&
                             static_cast<std::size_t>(w.point) < views[static_cast<std::size_t>(w.pose)].points.size();
        if (!isKnown) throw InputError("the views are not those of the calibration: a worst point is not among them");
        const BoardView& view = views[static_cast<std::size_t>(w.pose)];
        const int index = view.points[static_cast<std::size_t>(w.point)].index;
        worst.push_back({{"pose", view.name},
                         {"column", index % board.count.width + 1},
                         {"row", index / board.count.width + 1},
                         {"error_pixels", w.error}});
    }
    for (const PoseFit& fit : result.poses) poses.push_back(ToJson(fit));
    const Json json = {
        {"verdict", Verdict(result)},
        {"advice", result.advice},
        {"pose_count", c.poses},
        {"camera_rms_pixels", c.cameraRms},
        {"projector_rms_pixels", c.projectorRms},
        {"left_out",
         {{"spacing_mm", result.spacing}, {"plane_rms_mm", result.planeRms}, {"point_rms_mm", result.pointRms}}},
        {"spacing_given_mm", board.spacing},
        {"camera_coverage", result.cameraCoverage},
        {"projector_coverage", result.projectorCoverage},
        {"tilt_spread_degrees", result.tiltSpread},
        {"camera", ToJson(c.camera)},
        {"camera_deviation", ToJson(c.cameraDeviation)},
        {"projector", ToJson(c.projector)},
        {"projector_deviation", ToJson(c.projectorDeviation)},
        {"translation_mm", ToJson(c.translation)},
        {"translation_deviation_mm", ToJson(c.translationDeviation)},
        {"rotation_deviation_radians", ToJson(c.rotationDeviation)},
        {"baseline_mm", cv::norm(c.translation)},
        {"poses", poses},
        {"worst_points", worst}};
    return JsonText(json) + "\n";
}

}  // namespace measure
