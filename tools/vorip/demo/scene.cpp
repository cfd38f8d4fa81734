#include "tools/vorip/demo/scene.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vorip {
namespace {

// Lengths are in camera pixels. The camera looks straight down; the projector stands to the left, so that a point at
// height z shows the fringe position x + z tan(angle). A point is in shadow when something further left has a larger
// fringe position: the light that would reach the point ended there.
constexpr int kWidth = 960;
constexpr int kHeight = 720;
constexpr int kSamples = 3;  // per pixel and direction, for blurred edges
constexpr double kPeriod = 24.0;
constexpr double kTangent = 0.55;
constexpr double kNoise = 1.2;  // grey levels, standard deviation

struct Disc {
    double x, y, radius;
    double Square(double px, double py) const {
        const double dx = (px - x) / radius, dy = (py - y) / radius;
        return dx * dx + dy * dy;
    }
    bool Holds(double px, double py) const { return Square(px, py) < 1.0; }
};
constexpr Disc kDome{600, 250, 170};
constexpr Disc kHole{170, 470, 62};
constexpr Disc kGlint{560, 190, 24};
constexpr double kStepEdge = 330;  // the part is raised left of this column
constexpr double kStepHeight = 80;
constexpr double kPlaneStart = 470;  // below this row the part is inclined
constexpr double kPlaneSlope = 0.45;

bool OnPart(double x, double y) {
    constexpr double corner = 40;
    const double dx = std::max({45 + corner - x, x - (kWidth - 45 - corner), 0.0});
    const double dy = std::max({40 + corner - y, y - (kHeight - 40 - corner), 0.0});
    return dx * dx + dy * dy < corner * corner && !kHole.Holds(x, y);
}

double Height(double x, double y) {
    double z = x < kStepEdge ? kStepHeight : 0.0;
    if (kDome.Holds(x, y)) {
        const double edge = 1.0 - kDome.Square(x, y);
        z += 75.0 * edge * edge;  // meets the plate without a fold
    }
    return z + kPlaneSlope * std::max(0.0, y - kPlaneStart);
}

// Diffuse reflection: nearly nothing from the cloth and from inside the hole; the part is finely streaked by milling.
double Albedo(double x, double y) {
    if (!OnPart(x, y)) return 0.008;
    return 0.62 + 0.05 * std::sin(0.9 * y + 0.35 * std::sin(0.05 * x)) + 0.06 * std::sin(0.013 * x + 0.021 * y);
}

// Brightness by the angle to the projector, with light falling off towards the corners of the picture.
double Light(double x, double y) {
    const double step = 0.5;
    const double slopeX = (Height(x + step, y) - Height(x - step, y)) / (2 * step);
    const double slopeY = (Height(x, y + step) - Height(x, y - step)) / (2 * step);
    const double norm = std::sqrt((1 + slopeX * slopeX + slopeY * slopeY) * (1 + kTangent * kTangent));
    const double cosine = std::abs(slopeX) > 10 ? 0.85 : std::max(0.0, 1.0 - slopeX * kTangent) / norm;
    const double dx = (x - kWidth / 2.0) / kWidth, dy = (y - kHeight / 2.0) / kHeight;
    return cosine * (1.0 - 0.5 * (dx * dx + dy * dy));
}

double Glint(double x, double y) { return 3.0 * std::exp(-2.5 * kGlint.Square(x, y)); }

// One point of the scene: the light that every frame gets, the light that follows the fringes, and the phase.
struct Sample {
    double ambient, projected, phase;
    bool shadow;
};

Sample Look(double x, double y, double& farthest) {
    const double position = x + kTangent * Height(x, y);
    const bool shadow = OnPart(x, y) && position < farthest - 1e-9;
    if (OnPart(x, y)) farthest = std::max(farthest, position);
    const double reflected = 235.0 * Albedo(x, y);
    const double direct = reflected * Light(x, y) * (1.0 + (OnPart(x, y) ? Glint(x, y) : 0.0));
    return {4.0 + 0.05 * reflected, shadow ? 0.0 : direct, 2.0 * CV_PI * position / kPeriod, shadow};
}

// Adds one line of samples to the frame sums of a row of pixels.
void AddLine(double y, const std::vector<double>& shifts, std::vector<std::vector<double>>& sums) {
    double farthest = -1e9;
    for (int i = 0; i < kWidth * kSamples; ++i) {
        const Sample s = Look((i + 0.5) / kSamples, y, farthest);
        for (std::size_t k = 0; k < shifts.size(); ++k) {
            const double fringe = 0.5 + 0.45 * std::cos(s.phase + shifts[k]);
            sums[k][static_cast<std::size_t>(i / kSamples)] += s.ambient + s.projected * fringe;
        }
    }
}

void AddTruth(int y, Scene& scene) {
    double farthest = -1e9;
    for (int x = 0; x < kWidth; ++x) {
        const Sample s = Look(x + 0.5, y + 0.5, farthest);
        scene.phase.at<double>(y, x) = s.phase;
        scene.lit.at<std::uint8_t>(y, x) = OnPart(x + 0.5, y + 0.5) && !s.shadow ? 255 : 0;
    }
}

}  // namespace

Scene RenderScene(int frameCount) {
    Scene scene;
    std::vector<double> shifts;
    for (int k = 0; k < frameCount; ++k) {
        shifts.push_back(2.0 * CV_PI * k / frameCount);
        scene.frames.emplace_back(kHeight, kWidth, CV_8U);
    }
    scene.phase.create(kHeight, kWidth, CV_64F);
    scene.lit.create(kHeight, kWidth, CV_8U);
    cv::RNG noise(20090401);
    for (int y = 0; y < kHeight; ++y) {
        std::vector<std::vector<double>> sums(shifts.size(), std::vector<double>(kWidth));
        for (int j = 0; j < kSamples; ++j) AddLine(y + (j + 0.5) / kSamples, shifts, sums);
        for (std::size_t k = 0; k < shifts.size(); ++k) {
            for (int x = 0; x < kWidth; ++x) {
                const double grey = sums[k][static_cast<std::size_t>(x)] / (kSamples * kSamples);
                scene.frames[k].at<std::uint8_t>(y, x) = cv::saturate_cast<std::uint8_t>(grey + noise.gaussian(kNoise));
            }
        }
        AddTruth(y, scene);
    }
    return scene;
}

}  // namespace vorip
