#include <algorithm>
#include <array>
#include <cmath>

#include "measure/base/arguments.h"
#include "measure/base/quantile.h"
#include "measure/fringe.h"
#include "measure/fringe/harmonics.h"

namespace measure {
namespace {

constexpr auto kPi = static_cast<float>(CV_PI);

// Of a difference between two phases.
float Wrap(float angle) { return angle > kPi ? angle - 2 * kPi : angle < -kPi ? angle + 2 * kPi : angle; }

// The change of the phase along a line of pixels, in periods, as far as neighbours are usable.
class LineCount {
public:
    void Add(float phase, bool usable) {
        if (usable && mUsable) mSum += static_cast<double>(Wrap(phase - mPhase));
        mPhase = phase;
        mUsable = usable;
    }
    double Periods() const { return std::abs(mSum) / (2 * CV_PI); }

private:
    double mSum = 0;
    float mPhase = 0;
    bool mUsable = false;
};

// What nine of ten lines stay below.
double HighOf(const std::vector<LineCount>& lines) {
    std::vector<double> periods;
    periods.reserve(lines.size());
    for (const LineCount& line : lines) periods.push_back(line.Periods());
    return QuantileOf(periods, 0.9);
}

double CountPeriodsInView(const FringePhase& set) {
    constexpr int kLines = 32;
    const int rows = std::min(kLines, set.phase.rows), cols = std::min(kLines, set.phase.cols);
    const auto place = [](int line, int lines, int size) { return (2 * line + 1) * size / (2 * lines); };
    std::vector<LineCount> across(static_cast<std::size_t>(rows)), down(static_cast<std::size_t>(cols));
    for (int i = 0; i < rows; ++i) {
        const int y = place(i, rows, set.phase.rows);
        LineCount& line = across[static_cast<std::size_t>(i)];
        for (int x = 0; x < set.phase.cols; ++x) line.Add(set.phase(y, x), set.usable(y, x) != 0);
    }
    for (int y = 0; y < set.phase.rows; ++y) {
        for (int i = 0; i < cols; ++i) {
            const int x = place(i, cols, set.phase.cols);
            down[static_cast<std::size_t>(i)].Add(set.phase(y, x), set.usable(y, x) != 0);
        }
    }
    return HighOf(across) + HighOf(down);
}

// How often the phase falls into each of equal parts of a period.
constexpr int kBins = 1024;
constexpr int kPatches = 8;  // across and down
using Distribution = std::array<std::uint32_t, kBins>;

std::size_t BinOf(float phase) {
    const int bin = static_cast<int>(phase * (kBins / (2 * kPi)) + kBins / 2.0f);
    return static_cast<std::size_t>(std::clamp(bin, 0, kBins - 1));
}

// Different for every row, without a rhythm that fringes could have.
std::uint32_t Scatter(int row) { return static_cast<std::uint32_t>(row) * 2654435769U >> 16; }

// The distributions in patches of the image. Some hundred thousand pixels tell them: of some rows one, and of that one
// some pixels.
std::vector<Distribution> DistributePhase(const FringePhase& set, const Progress& progress) {
    constexpr double kEnoughPixels = 1 << 18;
    constexpr int kMost = 4;
    const cv::Size size = set.phase.size();
    const int step = std::clamp(static_cast<int>(std::sqrt(size.area() / kEnoughPixels)), 1, kMost);
    const auto scatter = [&](int y) { return static_cast<int>(Scatter(y) % static_cast<std::uint32_t>(step)); };
    std::vector<Distribution> patches(kPatches * kPatches);
    progress.Report("estimating the ripple");
    cv::parallel_for_(cv::Range(0, kPatches), [&](const cv::Range& range) {
        for (int y = range.start * size.height / kPatches; y < range.end * size.height / kPatches; ++y) {
            if (y % step != scatter(y / step)) continue;
            const float* const phase = set.phase[y];
            const std::uint8_t* const usable = set.usable[y];
            const auto first = static_cast<std::size_t>(std::min(kPatches - 1, y * kPatches / size.height) * kPatches);
            int x = scatter(y);
            for (int i = 0; i < kPatches; ++i) {
                Distribution& patch = patches[first + static_cast<std::size_t>(i)];
                for (const int end = (i + 1) * size.width / kPatches; x < end; x += step)
                    if (usable[x]) ++patch[BinOf(phase[x])];
            }
        }
    });
    return patches;
}

// Cosine and sine of a multiple of the phase in the middle of each part, and 1.
std::vector<cv::Vec3d> Waves(int harmonic) {
    std::vector<cv::Vec3d> waves;
    for (int i = 0; i < kBins; ++i) {
        const double angle = harmonic * (2 * CV_PI * (i + 0.5) / kBins - CV_PI);
        waves.emplace_back(std::cos(angle), std::sin(angle), 1.0);
    }
    return waves;
}

cv::Vec3d Sum(const Distribution& distribution, const std::vector<cv::Vec3d>& waves) {
    cv::Vec3d sum;
    for (std::size_t i = 0; i < kBins; ++i) sum += static_cast<double>(distribution[i]) * waves[i];
    return sum;
}

// The standard error of the mean of cosine and sine over all patches, from how much these differ.
double StandardError(const std::vector<Distribution>& patches, const std::vector<cv::Vec3d>& waves,
                     const cv::Vec3d& sum) {
    double squares = 0;
    for (const Distribution& patch : patches) {
        const cv::Vec3d own = Sum(patch, waves);
        const cv::Vec3d rest = own - sum * (own[2] / sum[2]);
        squares += rest.dot(rest);
    }
    return std::sqrt(squares) / sum[2];
}

struct Harmonic {
    double sine, cosine;  // radians, as a ripple has them
    Ripple::Deviation deviation;
};

Harmonic FindHarmonic(int harmonic, const Distribution& all, const std::vector<Distribution>& patches) {
    const std::vector<cv::Vec3d> waves = Waves(harmonic);
    const cv::Vec3d sum = Sum(all, waves);
    const double factor = 2 / (sum[2] * harmonic);
    return {factor * sum[0],
            -factor * sum[1],
            {factor * std::hypot(sum[0], sum[1]), 2 * StandardError(patches, waves, sum) / harmonic}};
}

}  // namespace

bool Ripple::IsOfOtherFrames() const {
    constexpr std::array<double, 2> kMost{0.08, 0.03};  // radians
    // A part of a period, beside whole ones, leaves these over the number of periods.
    constexpr std::array<double, 2> kOfPart{2 / CV_PI, 0.5 / CV_PI};
    if (periodsInView < kLeastPeriodsInView) return false;
    for (std::size_t i = 0; i < foreign.size(); ++i)
        if (foreign[i].amplitude > kMost[i] + kOfPart[i] / periodsInView + 2 * foreign[i].uncertainty) return true;
    return false;
}

Ripple EstimateRipple(const FringePhase& phase, const Progress& progress) {
    RequireOneSize({"the phase", phase.phase}, {{"the usable pixels", phase.usable}});
    if (phase.shifts.empty()) throw InputError("the phase does not say from which shifts it was found");
    Ripple ripple;
    ripple.periodsInView = CountPeriodsInView(phase);
    ripple.harmonics = HarmonicsOf(phase.shifts);
    ripple.sines.assign(ripple.harmonics.size(), 0.0);
    ripple.cosines.assign(ripple.harmonics.size(), 0.0);
    if (ripple.periodsInView < Ripple::kLeastPeriodsInView) return ripple;
    const std::vector<Distribution> patches = DistributePhase(phase, progress);
    Distribution all{};
    for (const Distribution& patch : patches)
        for (std::size_t i = 0; i < kBins; ++i) all[i] += patch[i];
    for (std::size_t h = 0; h < ripple.harmonics.size(); ++h) {
        const Harmonic found = FindHarmonic(ripple.harmonics[h], all, patches);
        ripple.sines[h] = found.sine;
        ripple.cosines[h] = found.cosine;
        if (found.deviation.amplitude <= ripple.amplitude) continue;
        ripple.amplitude = found.deviation.amplitude;
        ripple.uncertainty = found.deviation.uncertainty;
    }
    if (EqualSteps(phase.shifts) > 0)
        for (int h = 0; h < 2; ++h)
            ripple.foreign[static_cast<std::size_t>(h)] = FindHarmonic(h + 1, all, patches).deviation;
    ripple.known = true;
    return ripple;
}

}  // namespace measure
