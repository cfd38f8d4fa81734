#include "measure/world/conventions.h"

#include <algorithm>
#include <cmath>

#include "measure/base/quantile.h"
#include "measure/world/triangulation.h"

namespace measure {
namespace {

constexpr int kSamples = 2500;
constexpr double kMargin = 0.02;  // of the projector's picture, that its coordinates may leave it by

struct Sample {
    cv::Point2d pixel, seen;  // seen: column and row; NaN for one that was not decoded
};

std::vector<Sample> TakeSamples(const ProjectorCoordinates& seen, bool fromRows) {
    const cv::Mat1f& main = fromRows ? seen.rows : seen.columns;
    const int step = std::max(1, static_cast<int>(std::sqrt(double(main.total()) / kSamples)));
    const auto at = [](const cv::Mat1f& image, int x, int y) {
        return image.empty() ? std::nan("") : static_cast<double>(image(y, x));
    };
    std::vector<Sample> samples;
    for (int y = step / 2; y < main.rows; y += step)
        for (int x = step / 2; x < main.cols; x += step)
            if (std::isfinite(main(y, x)))
                samples.push_back({cv::Point2d(x, y), {at(seen.columns, x, y), at(seen.rows, x, y)}});
    return samples;
}

bool IsInside(double v, int length) {
    if (length == 0) return std::isfinite(v);
    const double margin = kMargin * length + 0.5;
    return v >= -margin && v <= length - 1 + margin;
}

Fit Judge(const std::vector<Sample>& samples, const Calibration& c, bool fromRows) {
    const KrN::KrLPixelToWorld world = MakePixelToWorld(c, fromRows);
    const double farthest = FarthestDepth(c);
    std::vector<double> depths, residuals;
    int possible = 0;
    for (const Sample& s : samples) {
        const double main = fromRows ? s.seen.y : s.seen.x, other = fromRows ? s.seen.x : s.seen.y;
        const KrN::SrWorldPoint p = world.WorldPoint(s.pixel.x, s.pixel.y, main);
        if (!std::isfinite(p.z)) continue;
        depths.push_back(static_cast<double>(p.z));
        const cv::Vec3d q = c.rotation * cv::Vec3d(p.x, p.y, p.z) + c.translation;
        const cv::Point2d at = c.projector.Project({q[0] / q[2], q[1] / q[2]});
        const double expected = fromRows ? at.x : at.y;
        if (std::isfinite(other - expected)) residuals.push_back(std::abs(other - expected));
        const bool isInside = IsInside(fromRows ? main : expected, c.projectorSize.height) &&
                              IsInside(fromRows ? expected : main, c.projectorSize.width);
        if (p.z > 0 && static_cast<double>(p.z) < farthest && q[2] > 0 && isInside) ++possible;
    }
    return {samples.empty() ? 0 : double(possible) / double(samples.size()), MedianOf(residuals), MedianOf(depths)};
}

struct Setup {
    std::vector<Sample> samples;
    Calibration calibration;
    bool fromRows;
    cv::Size pictures;

    int LengthOf(bool ofRows) const {
        const double centre = ofRows ? calibration.projector.cy : calibration.projector.cx;
        const int length = ofRows ? calibration.projectorSize.height : calibration.projectorSize.width;
        return length > 0 ? length : static_cast<int>(2 * centre + 1);
    }
    // The coordinate along rows or columns becomes `end` minus itself.
    void Reverse(bool ofRows, double end) {
        for (Sample& s : samples) {
            double& v = ofRows ? s.seen.y : s.seen.x;
            v = end - v;
        }
    }
    void Mirror(bool leftToRight, bool topToBottom) {
        for (Sample& s : samples) {
            if (leftToRight) s.pixel.x = pictures.width - 1 - s.pixel.x;
            if (topToBottom) s.pixel.y = pictures.height - 1 - s.pixel.y;
        }
    }
    void InvertPose() {
        calibration.rotation = calibration.rotation.t();
        calibration.translation = -(calibration.rotation * calibration.translation);
    }
};

struct Alternative {
    const char* words;
    void (*apply)(Setup& setup);
};

constexpr char kOtherWay[] =
    "the phase runs the other way: change \"direction\" in the scan description, or the signs of all shifts";

const Alternative kAlternatives[] = {
    {kOtherWay, [](Setup& s) { s.Reverse(s.fromRows, s.LengthOf(s.fromRows) - 1); }},
    {kOtherWay, [](Setup& s) { s.Reverse(s.fromRows, 0); }},  // from an origin at the other end
    {"the second direction runs the other way: change its \"direction\" in the scan description",
     [](Setup& s) { s.Reverse(!s.fromRows, s.LengthOf(!s.fromRows) - 1); }},
    {"the pictures are mirrored left to right", [](Setup& s) { s.Mirror(true, false); }},
    {"the pictures are mirrored top to bottom", [](Setup& s) { s.Mirror(false, true); }},
    {"the pictures stand upside down, turned by 180 degrees", [](Setup& s) { s.Mirror(true, true); }},
    {"the origin of the columns or rows is in the middle of the projector: change \"origin\" in the scan description",
     [](Setup& s) {
         for (Sample& sample : s.samples) sample.seen += {0.5 * s.LengthOf(false), 0.5 * s.LengthOf(true)};
     }},
    {"columns and rows are exchanged in the scan description",
     [](Setup& s) {
         for (Sample& sample : s.samples) std::swap(sample.seen.x, sample.seen.y);
     }},
    {"rotation and translation of the calibration lead from the projector to the camera: X_projector = R X_camera + T "
     "is needed, the inverse",
     [](Setup& s) { s.InvertPose(); }},
    {"the translation of the calibration has the wrong sign",
     [](Setup& s) { s.calibration.translation = -s.calibration.translation; }},
    {"camera and projector are exchanged in the calibration",
     [](Setup& s) {
         std::swap(s.calibration.camera, s.calibration.projector);
         std::swap(s.calibration.cameraSize, s.calibration.projectorSize);
         s.InvertPose();
     }},
    {"the lenses of camera and projector are exchanged in the calibration",
     [](Setup& s) { std::swap(s.calibration.camera, s.calibration.projector); }},
};

}  // namespace

double FarthestDepth(const Calibration& calibration) { return kFarthestBaselines * cv::norm(calibration.translation); }

Fit JudgeFit(const ProjectorCoordinates& seen, const Calibration& calibration, bool fromRows) {
    return Judge(TakeSamples(seen, fromRows), calibration, fromRows);
}

std::string LikelyConvention(const ProjectorCoordinates& seen, const Calibration& calibration, bool fromRows,
                             const Fit& asItStands) {
    constexpr double kMostlyPossible = 0.97;
    const Setup asGiven{TakeSamples(seen, fromRows), calibration, fromRows,
                        fromRows ? seen.rows.size() : seen.columns.size()};
    const bool hasOther = !seen.columns.empty() && !seen.rows.empty();
    std::string words;
    double least = hasOther ? std::max(1.0, asItStands.residual / 5) : 0;
    for (const Alternative& alternative : kAlternatives) {
        if (words.find(alternative.words) != std::string::npos) continue;
        Setup setup = asGiven;
        alternative.apply(setup);
        const Fit fit = Judge(setup.samples, setup.calibration, fromRows);
        if (!(fit.possible >= kMostlyPossible)) continue;
        if (hasOther && fit.residual >= least) continue;
        if (hasOther) {
            words = alternative.words;
            least = fit.residual;
        } else {
            words += (words.empty() ? "" : "; or ") + std::string(alternative.words);
        }
    }
    return words;
}

}  // namespace measure
