#include <algorithm>
#include <cmath>
#include <opencv2/imgproc.hpp>

#include "measure/base/arguments.h"
#include "measure/simulate.h"
#include "measure/simulate/noise.h"
#include "measure/simulate/profile.h"

namespace measure::simulate {
namespace {

constexpr double kFarthest = 1e9;  // projector pixels

void RequirePeriod(const char* name, double period) {
    RequireNumber(period >= 1e-3 && std::isfinite(period), name, period, "0.001 pixels or more");
}

void Check(const Pattern& pattern, const Capture& capture) {
    if (!pattern.value) throw InputError("a simulated pattern has no value");
    if (pattern.period != 0) RequirePeriod("the period of a pattern", pattern.period);
    if (capture.bits < 8 || capture.bits > 16) throw InputError("simulated pictures have 8 to 16 bits");
    RequirePositive("gamma", capture.gamma);
    RequirePositive("the exposure", capture.exposure);
    const auto require = [](const char* name, double value) {
        RequireNumber(value >= 0 && value <= 100, name, value, "0 to 100");
    };
    require("the noise", capture.noise);
    require("the shot noise", capture.shotNoise);
    require("the speckle", capture.speckle);
    require("the projector's blur", capture.projectorBlur);
    require("the camera's blur", capture.cameraBlur);
}

template <class F>
void OverRows(const cv::Mat& image, const F& function) {
    cv::parallel_for_({0, image.rows}, [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) function(y);
    });
}

// A grain of mean 0 and standard deviation 1, about two pixels wide.
cv::Mat1f SpeckleGrain(cv::Size size, const Capture& capture, int number) {
    cv::Mat1f grain(size);
    OverRows(grain, [&](int y) {
        Noise noise(~capture.seed, static_cast<std::uint64_t>(number), static_cast<std::uint64_t>(y));
        std::generate_n(grain[y], grain.cols, [&] { return noise.Next(); });
    });
    constexpr double kSigma = 0.8;
    const cv::Mat1d weights = cv::getGaussianKernel(7, kSigma);
    cv::sepFilter2D(grain, grain, -1, weights, weights);
    const double squares = weights.dot(weights);  // what the filter leaves of the variance, per direction
    return cv::Mat1f(grain / squares);
}

template <class T>
void Quantise(const cv::Mat1f& light, const Capture& capture, int number, cv::Mat& picture) {
    const auto most = static_cast<float>(capture.FullScale());
    const float scale = most / 255.0f;
    const bool noisy = capture.noise > 0 || capture.shotNoise > 0;
    const auto variance = static_cast<float>(capture.noise * capture.noise);
    const auto shot = static_cast<float>(capture.shotNoise);
    OverRows(light, [&](int y) {
        Noise noise(capture.seed, static_cast<std::uint64_t>(number), static_cast<std::uint64_t>(y));
        const float* in = light[y];
        T* out = picture.ptr<T>(y);
        for (int x = 0; x < light.cols; ++x) {
            float level = in[x];
            if (noisy) level += std::sqrt(variance + shot * std::max(level, 0.0f)) * noise.Next();
            out[x] = static_cast<T>(std::min(std::max(0.0f, std::floor(level * scale + 0.5f)), most));  // NaN: 0
        }
    });
}

double Coordinate(const cv::Point2d& at, Axis axis) { return axis == Axis::eColumns ? at.x : at.y; }

int ProjectorLength(const Rig& rig, Axis axis) {
    return axis == Axis::eColumns ? rig.projectorSize.width : rig.projectorSize.height;
}

void RequireSine(double period, double origin, int direction) {
    RequirePeriod("the period of a sine", period);
    RequireFinite("the origin of a sine", origin);
    RequireNumber(direction == 1 || direction == -1, "the direction of a sine", direction, "1 or -1");
}

}  // namespace

Pattern Sine(double period, double shift, Axis axis, double origin, int direction) {
    RequireSine(period, origin, direction);
    RequireFinite("the shift of a sine", shift);
    return {axis, period, [=](double coordinate) {
                return 0.5 +
                       0.5 * std::cos(2 * CV_PI * direction * (coordinate - origin) / period + shift * CV_PI / 180);
            }};
}

Pattern Uniform(double value) {
    RequireNumber(value >= 0 && value <= 1, "the light of a pattern", value, "0 to 1");
    return {Axis::eColumns, 0, [value](double) { return value; }};
}

Pattern GrayBit(int bit, int bits, double cell, double offset, bool inverse, Axis axis) {
    RequireNumber(bits >= 1 && bits <= 30, "the number of bits of a Gray code", bits, "1 to 30");
    RequireNumber(bit >= 0 && bit < bits, "the bit of a Gray code", bit, "0 or above, and less than their number");
    RequirePeriod("the cell of a Gray code", cell);
    RequireNumber(std::abs(offset) <= kFarthest, "the offset of a Gray code", offset, "a place near the projector");
    return {axis, 0, [=](double coordinate) {
                const auto index = static_cast<std::int64_t>(std::floor((coordinate + 0.5 - offset) / cell));
                const std::int64_t code = index ^ (index >> 1);
                return ((code >> (bits - 1 - bit)) & 1) != (inverse ? 1 : 0) ? 1.0 : 0.0;
            }};
}

Signal Projected(const Pattern& pattern, const Capture& capture) {
    Check(pattern, capture);
    return Profile(pattern, capture, 0, pattern.period > 0 ? pattern.period : 4096).GetSignal();
}

cv::Mat1f Simulation::Shine(const Pattern& pattern, const Capture& capture) const {
    const Profile profile(pattern, capture, -1, ProjectorLength(mScene.rig, pattern.axis));
    const auto exposure = static_cast<float>(capture.exposure);
    const cv::Mat1d& coordinates = pattern.axis == Axis::eColumns ? mTruth.column : mTruth.row;
    cv::Mat1f image(mTruth.light.size());
    OverRows(image, [&](int y) {
        for (int x = 0; x < image.cols; ++x) {
            float level = mTruth.dark(y, x);
            if (mTruth.lit(y, x)) level += mTruth.light(y, x) * profile.At(coordinates(y, x));
            image(y, x) = exposure * level;
        }
    });
    cv::parallel_for_({0, static_cast<int>(mMixedPixels.size())}, [&](const cv::Range& range) {
        for (auto k = static_cast<std::size_t>(range.start); k < static_cast<std::size_t>(range.end); ++k) {
            float sum = 0;
            for (std::size_t i = k * mRaysPerPixel; i < (k + 1) * mRaysPerPixel; ++i) {
                const Ray& ray = mRays[i];
                sum += ray.dark;
                if (ray.light > 0) sum += ray.light * profile.At(Coordinate({ray.column, ray.row}, pattern.axis));
            }
            image(mMixedPixels[k]) = exposure * sum / static_cast<float>(mRaysPerPixel);
        }
    });
    return image;
}

cv::Mat Simulation::Render(const Pattern& pattern, const Capture& capture, int number) const {
    Check(pattern, capture);
    cv::Mat1f image = Shine(pattern, capture);
    if (capture.cameraBlur > 0) cv::GaussianBlur(image, image, {}, capture.cameraBlur);
    if (capture.speckle > 0) {
        const cv::Mat1f grain = SpeckleGrain(image.size(), capture, number);
        image = image.mul(1.0 + capture.speckle * grain);
    }
    cv::Mat picture(image.size(), capture.bits == 8 ? CV_8U : CV_16U);
    (capture.bits == 8 ? Quantise<unsigned char> : Quantise<unsigned short>)(image, capture, number, picture);
    return picture;
}

std::vector<cv::Mat> Simulation::Render(const std::vector<Pattern>& patterns, const Capture& capture, int first) const {
    std::vector<cv::Mat> pictures;
    for (const Pattern& pattern : patterns)
        pictures.push_back(Render(pattern, capture, first + static_cast<int>(pictures.size())));
    return pictures;
}

cv::Mat1f Simulation::Mean(const Pattern& pattern, const Capture& capture) const {
    const double mean = Projected(pattern, capture).mean;
    return cv::Mat1f(capture.exposure * (mTruth.dark + mean * mTruth.light));
}

cv::Mat1f Simulation::Modulation(const Pattern& pattern, const Capture& capture) const {
    return cv::Mat1f(capture.exposure * Projected(pattern, capture).amplitude * mTruth.light);
}

cv::Mat1d Simulation::Phase(double period, Axis axis, double origin, int direction) const {
    RequireSine(period, origin, direction);
    const cv::Mat1d& coordinates = axis == Axis::eColumns ? mTruth.column : mTruth.row;
    return cv::Mat1d(2 * CV_PI * direction / period * (coordinates - origin));
}

}  // namespace measure::simulate
