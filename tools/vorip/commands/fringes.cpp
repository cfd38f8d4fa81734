#include "tools/vorip/commands/fringes.h"

#include <cmath>
#include <cstdint>
#include <opencv2/imgproc.hpp>

#include "tools/vorip/commands/materialborders.h"
#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

// The estimates A, C = B cos(phase) and S = B sin(phase) are sums of the frames with fixed weights.
struct Weights {
    float a, c, s;
};

std::vector<Weights> SolveWeights(const std::vector<double>& shifts) {
    const auto count = static_cast<double>(shifts.size());
    cv::Matx33d normal = cv::Matx33d::zeros();
    std::vector<cv::Vec3d> rows;
    for (const double shift : shifts) {
        const cv::Vec3d row(1.0, std::cos(shift), -std::sin(shift));
        normal += (row * row.t()) * (1.0 / count);
        rows.push_back(row);
    }
    cv::Vec3d eigenvalues;
    cv::eigen(normal, eigenvalues);
    if (!(eigenvalues[2] > 1e-6)) {
        Refuse("these shifts do not determine the phase: at least three must differ clearly, modulo 360 degrees");
    }
    const cv::Matx33d inverse = normal.inv(cv::DECOMP_CHOLESKY);
    std::vector<Weights> weights;
    for (const cv::Vec3d& row : rows) {
        const cv::Vec3d w = inverse * row * (1.0 / count);
        weights.push_back({static_cast<float>(w[0]), static_cast<float>(w[1]), static_cast<float>(w[2])});
    }
    return weights;
}

// The sums over the frames, CV_32F.
struct Sums {
    cv::Mat a, c, s, peak;
    explicit Sums(cv::Size size) {
        for (cv::Mat* m : {&a, &c, &s, &peak}) *m = cv::Mat(size, CV_32F, 0.0);
    }
};

template <class T>
void AddRow(const T* pixels, const Weights& w, int y, Sums& sums) {
    const int n = sums.a.cols;
    auto* a = sums.a.ptr<float>(y);
    auto* c = sums.c.ptr<float>(y);
    auto* s = sums.s.ptr<float>(y);
    auto* peak = sums.peak.ptr<float>(y);
    for (int x = 0; x < n; ++x) {
        const auto v = static_cast<float>(pixels[x]);
        a[x] += w.a * v;
        c[x] += w.c * v;
        s[x] += w.s * v;
        peak[x] = v > peak[x] ? v : peak[x];
    }
}

void AddRow(const cv::Mat& frame, int y, const Weights& w, Sums& sums) {
    switch (frame.depth()) {
        case CV_8U: AddRow(frame.ptr<std::uint8_t>(y), w, y, sums); break;
        case CV_16U: AddRow(frame.ptr<std::uint16_t>(y), w, y, sums); break;
        default: AddRow(frame.ptr<float>(y), w, y, sums); break;
    }
}

void StorePhase(const Sums& sums, int y, FringeResult& result) {
    constexpr auto steps = static_cast<float>(65536.0 / (2.0 * CV_PI));
    const auto* c = sums.c.ptr<float>(y);
    const auto* s = sums.s.ptr<float>(y);
    auto* phase16 = result.phase16.ptr<std::uint16_t>(y);
    auto* phase8 = result.phase8.ptr<std::uint8_t>(y);
    for (int x = 0; x < sums.c.cols; ++x) {
        const float angle = std::atan2(s[x], c[x]) * steps;
        const int fine = std::isfinite(angle) ? static_cast<int>(std::floor(angle + 0.5F)) & 65535 : 0;
        phase16[x] = static_cast<std::uint16_t>(fine);
        phase8[x] = static_cast<std::uint8_t>((fine + 128) >> 8);
    }
}

// Where pixels of one pair of sums have phases of their own, as at the edge of an object, they cancel in the mean of a
// neighbourhood, and so does noise.
cv::Mat NeighbourhoodModulation(const Sums& sums) {
    cv::Mat c, s, b;
    cv::blur(sums.c, c, cv::Size(3, 3));
    cv::blur(sums.s, s, cv::Size(3, 3));
    cv::magnitude(c, s, b);
    return b;
}

// Every comparison is false for NaN, which thereby is excluded.
cv::Mat UsablePixels(const Sums& sums, const cv::Mat& modulation, const FringeLimits& limits) {
    cv::Mat usable = (sums.a >= limits.minIntensity) & (sums.peak < limits.saturation);
    usable &= modulation >= limits.minModulation / 2;
    usable &= NeighbourhoodModulation(sums) >= limits.minModulation;
    if (limits.borderRatio > 1) {
        usable.setTo(0, FindMaterialBorders(sums.a, modulation, usable, limits.borderRatio));
    }
    return usable;
}

}  // namespace

std::vector<double> EqualShifts(std::size_t count) {
    std::vector<double> shifts;
    for (std::size_t k = 0; k < count; ++k) {
        shifts.push_back(2.0 * CV_PI * static_cast<double>(k) / static_cast<double>(count));
    }
    return shifts;
}

FringeResult SolveFringes(const std::vector<cv::Mat>& frames, const std::vector<double>& shifts, double fullScale,
                          const FringeLimits& limits) {
    const std::vector<Weights> weights = SolveWeights(shifts);
    const cv::Size size = frames.front().size();
    Sums sums(size);
    FringeResult result{cv::Mat(size, CV_16U), cv::Mat(size, CV_8U), cv::Mat(), cv::Mat()};
    cv::parallel_for_(cv::Range(0, size.height), [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            for (std::size_t k = 0; k < frames.size(); ++k) AddRow(frames[k], y, weights[k], sums);
            StorePhase(sums, y, result);
        }
    });
    cv::Mat modulation;
    cv::magnitude(sums.c, sums.s, modulation);
    modulation.convertTo(result.modulation, CV_8U, 2.0 * 255.0 / fullScale);
    result.mask = UsablePixels(sums, modulation, limits);
    return result;
}

}  // namespace vorip
