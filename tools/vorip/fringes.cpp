#include "tools/vorip/fringes.h"

#include <cmath>
#include <cstdint>

#include "tools/vorip/failure.h"

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

// The sums of one row.
struct RowSums {
    std::vector<float> a, c, s, peak;
    explicit RowSums(std::size_t n) : a(n), c(n), s(n), peak(n) {}
    void Clear() {
        for (auto* v : {&a, &c, &s, &peak}) std::fill(v->begin(), v->end(), 0.0F);
    }
};

template <class T>
void AddRow(const T* pixels, const Weights& w, RowSums& sums) {
    const std::size_t n = sums.a.size();
    float* a = sums.a.data();
    float* c = sums.c.data();
    float* s = sums.s.data();
    float* peak = sums.peak.data();
    for (std::size_t x = 0; x < n; ++x) {
        const auto v = static_cast<float>(pixels[x]);
        a[x] += w.a * v;
        c[x] += w.c * v;
        s[x] += w.s * v;
        peak[x] = v > peak[x] ? v : peak[x];
    }
}

void AddRow(const cv::Mat& frame, int y, const Weights& w, RowSums& sums) {
    switch (frame.depth()) {
        case CV_8U: AddRow(frame.ptr<std::uint8_t>(y), w, sums); break;
        case CV_16U: AddRow(frame.ptr<std::uint16_t>(y), w, sums); break;
        default: AddRow(frame.ptr<float>(y), w, sums); break;
    }
}

struct Levels {
    float minIntensity, saturation, minModulation, modulationScale;
};

void StoreRow(const RowSums& sums, const Levels& levels, int y, FringeResult& result) {
    constexpr auto steps = static_cast<float>(65536.0 / (2.0 * CV_PI));
    auto* phase16 = result.phase16.ptr<std::uint16_t>(y);
    auto* phase8 = result.phase8.ptr<std::uint8_t>(y);
    auto* modulation = result.modulation.ptr<std::uint8_t>(y);
    auto* mask = result.mask.ptr<std::uint8_t>(y);
    for (std::size_t x = 0; x < sums.a.size(); ++x) {
        const float b = std::sqrt(sums.c[x] * sums.c[x] + sums.s[x] * sums.s[x]);
        // Every comparison is false for NaN, which thereby is excluded.
        const bool usable =
            sums.a[x] >= levels.minIntensity && sums.peak[x] < levels.saturation && b >= levels.minModulation;
        const float angle = std::atan2(sums.s[x], sums.c[x]) * steps;
        const int fine = std::isfinite(angle) ? static_cast<int>(std::floor(angle + 0.5F)) & 65535 : 0;
        phase16[x] = static_cast<std::uint16_t>(fine);
        phase8[x] = static_cast<std::uint8_t>((fine + 128) >> 8);
        const float q = b * levels.modulationScale + 0.5F;
        modulation[x] = static_cast<std::uint8_t>(q < 255.0F ? q : q >= 255.0F ? 255.0F : 0.0F);
        mask[x] = usable ? 255 : 0;
    }
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
    const Levels levels{static_cast<float>(limits.minIntensity), static_cast<float>(limits.saturation),
                        static_cast<float>(limits.minModulation), static_cast<float>(2.0 * 255.0 / fullScale)};
    FringeResult result{cv::Mat(size, CV_16U), cv::Mat(size, CV_8U), cv::Mat(size, CV_8U), cv::Mat(size, CV_8U)};
    cv::parallel_for_(cv::Range(0, size.height), [&](const cv::Range& rows) {
        RowSums sums(static_cast<std::size_t>(size.width));
        for (int y = rows.start; y < rows.end; ++y) {
            sums.Clear();
            for (std::size_t k = 0; k < frames.size(); ++k) AddRow(frames[k], y, weights[k], sums);
            StoreRow(sums, levels, y, result);
        }
    });
    return result;
}

}  // namespace vorip
