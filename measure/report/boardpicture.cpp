#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "measure/base/arguments.h"
#include "measure/calibrate.h"
#include "measure/error.h"
#include "measure/picture.h"

namespace measure {
namespace {

constexpr int kSide = 1600;        // of a picture for people
constexpr double kFarthest = 1e6;  // pixels, of what can be drawn
const cv::Scalar kGood(90, 200, 60), kBad(40, 60, 255), kInk(255, 255, 255), kEdge(0, 0, 0);

// Sizes of what is drawn, by the picture's.
struct Pen {
    explicit Pen(cv::Size size)
        : thickness(std::max(1, cvRound(std::max(size.width, size.height) / 900.0))), scale(0.45 * thickness + 0.1) {}

    void Write(cv::Mat3b& picture, const std::string& text, cv::Point at) const {
        int baseline = 0;
        const cv::Size box = cv::getTextSize(text, cv::FONT_HERSHEY_SIMPLEX, scale, thickness, &baseline);
        at.x = std::clamp(at.x, 0, std::max(0, picture.cols - box.width));
        at.y = std::clamp(at.y, box.height, std::max(box.height, picture.rows - baseline));
        cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, scale, kEdge, 3 * thickness, cv::LINE_AA);
        cv::putText(picture, text, at, cv::FONT_HERSHEY_SIMPLEX, scale, kInk, thickness, cv::LINE_AA);
    }

    int thickness;
    double scale;
};

// Lengths of errors as they are drawn: a power of 10 (or 2 or 5 times one) that brings the largest to some 40 pixels.
double Enlargement(const PoseFit& fit) {
    double most = 1e-3;
    for (const cv::Vec2d& r : fit.cameraResiduals) most = std::max(most, cv::norm(r));
    const double wanted = 40 / most, power = std::pow(10, std::floor(std::log10(wanted)));
    return wanted >= 5 * power ? 5 * power : wanted >= 2 * power ? 2 * power : power;
}

cv::Scalar ColourOf(double error, double rms) {
    const double share = std::clamp(error / std::max(3 * rms, 1e-9), 0.0, 1.0);
    return share * kBad + (1 - share) * kGood;
}

double ErrorOf(const PoseFit& fit, std::size_t i) {
    return std::hypot(cv::norm(fit.cameraResiduals[i]), cv::norm(fit.projectorResiduals[i]));
}

void RequireFit(const BoardView& view, const PoseFit& fit) {
    for (const auto* residuals : {&fit.cameraResiduals, &fit.projectorResiduals}) {
        RequireOneLength(view.name + ": residuals", residuals->size(), "points", view.points.size());
        for (const cv::Vec2d& r : *residuals) RequireFinite(view.name + ": a residual", r[0] + r[1]);
    }
    for (const BoardPoint& point : view.points)
        for (const double place : {point.camera.x, point.camera.y, point.projector.x, point.projector.y})
            RequireNumber(std::abs(place) <= kFarthest, view.name + ": a place of the board", place,
                          "one of a picture");
}

// All points of all poses in the picture of one side.
cv::Mat3b DrawSide(const std::vector<BoardView>& views, const CalibrationResult& result, cv::Size size,
                   cv::Point2d BoardPoint::*place, const std::string& title) {
    const double scale = std::min(1.0, 0.5 * kSide / std::max(size.width, size.height));
    const int margin = 30;
    const cv::Rect field(margin, margin, cvRound(size.width * scale), cvRound(size.height * scale));
    cv::Mat3b picture(field.height + 2 * margin, field.width + 2 * margin, cv::Vec3b(40, 40, 40));
    cv::rectangle(picture, field, kInk, 1);
    const Calibration& c = result.calibration;
    const double rms = std::hypot(c.cameraRms, c.projectorRms);
    for (std::size_t i = 0; i < views.size(); ++i)
        for (std::size_t j = 0; j < views[i].points.size(); ++j) {
            const cv::Point2d at = (views[i].points[j].*place + cv::Point2d(0.5, 0.5)) * scale;
            cv::circle(picture, cv::Point(cvRound(at.x), cvRound(at.y)) + field.tl(), 2,
                       ColourOf(ErrorOf(result.poses[i], j), rms), cv::FILLED, cv::LINE_AA);
        }
    Pen(picture.size()).Write(picture, title, {margin, margin - 8});
    return picture;
}

}  // namespace

cv::Mat3b DrawPose(const BoardView& view, const PoseFit& fit, const BoardDescription& board, int worst) {
    RequireOneSize({view.name + ": the picture", view.picture});
    RequireFit(view, fit);
    BoardPoints(board);
    const double scale = std::min(1.0, static_cast<double>(kSide) / std::max(view.picture.cols, view.picture.rows));
    cv::Mat1b grey = view.picture;
    const cv::Size size(std::max(1, cvRound(grey.cols * scale)), std::max(1, cvRound(grey.rows * scale)));
    if (scale < 1) cv::resize(view.picture, grey, size, 0, 0, cv::INTER_AREA);
    cv::Mat3b picture;
    cv::cvtColor(grey, picture, cv::COLOR_GRAY2BGR);
    const Pen pen(picture.size());
    const double enlarged = Enlargement(fit), rms = std::hypot(fit.cameraRms, fit.projectorRms);
    std::vector<std::size_t> order;
    const auto toPicture = [&](cv::Point2d p) {
        const cv::Point2d q = (p + cv::Point2d(0.5, 0.5)) * scale;
        return cv::Point(cvRound(q.x), cvRound(q.y));
    };
    for (std::size_t i = 0; i < view.points.size(); ++i) {
        order.push_back(i);
        const cv::Point2d at = view.points[i].camera, off = fit.cameraResiduals[i];
        const cv::Scalar colour = ColourOf(ErrorOf(fit, i), rms);
        cv::circle(picture, toPicture(at), 3 * pen.thickness, colour, pen.thickness, cv::LINE_AA);
        cv::line(picture, toPicture(at), toPicture(at + off * (enlarged / scale)), colour, pen.thickness, cv::LINE_AA);
    }
    std::sort(order.begin(), order.end(), [&](auto a, auto b) { return ErrorOf(fit, a) > ErrorOf(fit, b); });
    order.resize(std::min(order.size(), static_cast<std::size_t>(std::max(0, worst))));
    for (const std::size_t i : order) {
        const cv::Point at = toPicture(view.points[i].camera);
        const int radius = 8 * pen.thickness, index = view.points[i].index;
        cv::circle(picture, at, radius, kBad, 2 * pen.thickness, cv::LINE_AA);
        pen.Write(picture,
                  cv::format("column %d row %d: %.2f px", index % board.count.width + 1, index / board.count.width + 1,
                             ErrorOf(fit, i)),
                  at + cv::Point(radius + 4, 4));
    }
    const int line = cvRound(28 * pen.scale / 0.55);
    pen.Write(picture,
              cv::format("%s: camera %.3f, projector %.3f px rms", fit.name.c_str(), fit.cameraRms, fit.projectorRms),
              {10, line});
    pen.Write(picture, cv::format("lines: errors in the camera, x %g", enlarged), {10, 2 * line});
    return picture;
}

cv::Mat3b DrawCoverage(const std::vector<BoardView>& views, const CalibrationResult& result) {
    const Calibration& c = result.calibration;
    if (c.cameraSize.empty() || c.projectorSize.empty())
        throw InputError("the calibration does not say how many pixels camera and projector have");
    RequireOneLength("views", views.size(), "poses of the calibration", result.poses.size());
    for (std::size_t i = 0; i < views.size(); ++i) RequireFit(views[i], result.poses[i]);
    return SideBySide(DrawSide(views, result, c.cameraSize, &BoardPoint::camera,
                               cv::format("camera: %.0f %% covered", 100 * result.cameraCoverage)),
                      DrawSide(views, result, c.projectorSize, &BoardPoint::projector,
                               cv::format("projector: %.0f %% covered", 100 * result.projectorCoverage)));
}

}  // namespace measure
