#include "measure/world/conventions.h"

#include <algorithm>
#include <cmath>

#include "measure/base/quantile.h"
#include "measure/world/triangulation.h"

namespace measure {
namespace {

constexpr int kSamples = 2500;
constexpr double kMargin = 0.02;  // of the projector's picture, that its coordinates may leave it by
constexpr double kFar = 1000;     // baselines: points beyond are not measured but at infinity

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
    const double farthest = kFar * cv::norm(c.translation);
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

struct Alternative {
    const char* words;
    void (*apply)(std::vector<Sample>& samples, Calibration& calibration, bool fromRows);
};

void Invert(Calibration& c) {
    c.rotation = c.rotation.t();
    c.translation = -(c.rotation * c.translation);
}
double& MainOf(Sample& s, bool fromRows) { return fromRows ? s.seen.y : s.seen.x; }
int LengthOf(const Calibration& c, bool ofRows) {
    const double centre = ofRows ? c.projector.cy : c.projector.cx;
    const int length = ofRows ? c.projectorSize.height : c.projectorSize.width;
    return length > 0 ? length : static_cast<int>(2 * centre + 1);
}

const Alternative kAlternatives[] = {
    {"the phase runs the other way: change \"direction\" in the scan description",
     [](std::vector<Sample>& samples, Calibration& c, bool fromRows) {
         for (Sample& s : samples) MainOf(s, fromRows) = LengthOf(c, fromRows) - 1 - MainOf(s, fromRows);
     }},
    {"the phase runs the other way, from an origin at the other end: change \"direction\" in the scan description",
     [](std::vector<Sample>& samples, Calibration&, bool fromRows) {
         for (Sample& s : samples) MainOf(s, fromRows) = -MainOf(s, fromRows);
     }},
    {"the second direction runs the other way: change its \"direction\" in the scan description",
     [](std::vector<Sample>& samples, Calibration& c, bool fromRows) {
         for (Sample& s : samples) MainOf(s, !fromRows) = LengthOf(c, !fromRows) - 1 - MainOf(s, !fromRows);
     }},
    {"the origin of the columns or rows is in the middle of the projector: change \"origin\" in the scan description",
     [](std::vector<Sample>& samples, Calibration& c, bool) {
         for (Sample& s : samples) s.seen += {0.5 * LengthOf(c, false), 0.5 * LengthOf(c, true)};
     }},
    {"columns and rows are exchanged in the scan description",
     [](std::vector<Sample>& samples, Calibration&, bool) {
         for (Sample& s : samples) std::swap(s.seen.x, s.seen.y);
     }},
    {"rotation and translation of the calibration lead from the projector to the camera: X_projector = R X_camera + T "
     "is needed, the inverse",
     [](std::vector<Sample>&, Calibration& c, bool) { Invert(c); }},
    {"the translation of the calibration has the wrong sign",
     [](std::vector<Sample>&, Calibration& c, bool) { c.translation = -c.translation; }},
    {"camera and projector are exchanged in the calibration",
     [](std::vector<Sample>&, Calibration& c, bool) {
         std::swap(c.camera, c.projector);
         std::swap(c.cameraSize, c.projectorSize);
         Invert(c);
     }},
    {"the lenses of camera and projector are exchanged in the calibration",
     [](std::vector<Sample>&, Calibration& c, bool) { std::swap(c.camera, c.projector); }},
};

}  // namespace

Fit JudgeFit(const ProjectorCoordinates& seen, const Calibration& calibration, bool fromRows) {
    return Judge(TakeSamples(seen, fromRows), calibration, fromRows);
}

std::string LikelyConvention(const ProjectorCoordinates& seen, const Calibration& calibration, bool fromRows,
                             const Fit& asItStands) {
    constexpr double kMostlyPossible = 0.97;
    const std::vector<Sample> samples = TakeSamples(seen, fromRows);
    const bool hasOther = !seen.columns.empty() && !seen.rows.empty();
    std::string words;
    double least = hasOther ? std::max(1.0, asItStands.residual / 5) : 0;
    for (const Alternative& alternative : kAlternatives) {
        std::vector<Sample> changed = samples;
        Calibration other = calibration;
        alternative.apply(changed, other, fromRows);
        const Fit fit = Judge(changed, other, fromRows);
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
