#include <algorithm>
#include <array>
#include <cmath>

#include "measure/base/arguments.h"
#include "measure/base/phase.h"
#include "measure/base/quantile.h"
#include "measure/fringe.h"
#include "measure/fringe/distribution.h"
#include "measure/fringe/harmonics.h"

namespace measure {
namespace {

// The change of the phase along a line of pixels, in periods, as far as neighbours are usable.
class LineCount {
public:
    void Add(float phase, bool usable) {
        if (usable && mUsable) mSum += static_cast<double>(WrapOnce(phase - mPhase));
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

struct PeriodsInView {
    double across = 0, down = 0;
};

PeriodsInView CountPeriodsInView(const FringePhase& set) {
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
    return {HighOf(across), HighOf(down)};
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
    double feigned = 0;  // radians, by the places of the pixels
};

Harmonic FindHarmonic(int harmonic, const Distribution& all, const std::vector<Distribution>& patches) {
    const std::vector<cv::Vec3d> waves = Waves(harmonic);
    const cv::Vec3d sum = Sum(all, waves);
    const double factor = 2 / (sum[2] * harmonic);
    return {factor * sum[0],
            -factor * sum[1],
            {factor * std::hypot(sum[0], sum[1]), 2 * StandardError(patches, waves, sum) / harmonic}};
}

// What the places of the pixels make of a phase that rises evenly, and of its ripple: each multiple that they have
// mixes two harmonics.
class FeignedHarmonics {
public:
    FeignedHarmonics(const Distribution& all, const Distribution& even) {
        double pixels = 0;
        for (const std::uint32_t count : all) pixels += count;
        const bool isEmpty = std::all_of(even.begin(), even.end(), [](std::uint32_t count) { return count == 0; });
        for (int multiple = 1; !isEmpty && multiple <= kMultiples; ++multiple) {
            const cv::Vec3d sum = Sum(even, Waves(multiple));
            mShares[static_cast<std::size_t>(multiple)] = std::hypot(sum[0], sum[1]) / pixels;
        }
    }

    // Radians of a harmonic, with those that the ripple is of.
    double Of(int harmonic, const std::vector<int>& others, const std::vector<Harmonic>& found) const {
        double share = At(harmonic);
        for (std::size_t i = 0; i < others.size(); ++i)
            share += found[i].deviation.amplitude * others[i] / 2 *
                     (At(others[i] + harmonic) + At(std::abs(others[i] - harmonic)));
        return 2 * share / harmonic;
    }

    static constexpr int kMultiples = 48;

private:
    double At(int multiple) const { return multiple <= kMultiples ? mShares[static_cast<std::size_t>(multiple)] : 0; }

    std::array<double, kMultiples + 1> mShares{};
};

// Periods of few pixels or a whole number of them show the same few phases again and again, whose distribution tells
// nothing about the shape of the fringes.
bool IsFeigned(const Harmonic& harmonic) {
    return harmonic.feigned > Ripple::kLeastAmplitude / 2 && harmonic.feigned > harmonic.deviation.amplitude / 3;
}

}  // namespace

double Ripple::MostForeign(int harmonic) const {
    constexpr std::array<double, 2> kMost{0.08, 0.03};  // radians
    // A part of a period, beside whole ones, leaves these over the number of periods.
    constexpr std::array<double, 2> kOfPart{2 / CV_PI, 0.5 / CV_PI};
    const auto i = static_cast<std::size_t>(harmonic - 1);
    return kMost.at(i) + kOfPart.at(i) / std::max(periodsInView, kLeastPeriodsInView) + 2 * foreign.at(i).uncertainty;
}

bool Ripple::IsOfOtherFrames() const {
    return periodsInView >= kLeastPeriodsInView &&
           (foreign[0].amplitude > MostForeign(1) || foreign[1].amplitude > MostForeign(2));
}

std::string WhyUnknown(const Ripple& ripple) {
    if (ripple.known) return "";
    if (ripple.periodsInView < Ripple::kLeastPeriodsInView)
        return cv::format("%.1f periods in view, %g are needed", ripple.periodsInView, Ripple::kLeastPeriodsInView);
    if (ripple.isOnPixels) return "the fringes are so in line with the pixels that these see a few phases only";
    return "the frames do not tell it";
}

Ripple EstimateRipple(const FringePhase& phase, const Progress& progress) {
    constexpr double kLeastPeriods = 3;  // whole ones along a line
    RequireOneSize({"the phase", phase.phase}, {{"the usable pixels", phase.usable}});
    if (phase.shifts.empty()) throw InputError("the phase does not say from which shifts it was found");
    Ripple ripple;
    const PeriodsInView periods = CountPeriodsInView(phase);
    ripple.periodsInView = periods.across + periods.down;
    ripple.harmonics = HarmonicsOf(phase.shifts);
    ripple.sines.assign(ripple.harmonics.size(), 0.0);
    ripple.cosines.assign(ripple.harmonics.size(), 0.0);
    if (ripple.periodsInView < Ripple::kLeastPeriodsInView) return ripple;
    const std::vector<int>& harmonics = ripple.harmonics;
    const int highest = harmonics.back() + std::max(harmonics.front(), 2);
    const PhaseDistribution distribution =
        DistributePhase(phase, periods.down > periods.across, highest + 0.5, progress);
    if (distribution.periods < kLeastPeriods) return ripple;
    Distribution all{};
    for (const Distribution& patch : distribution.patches)
        for (std::size_t i = 0; i < kBins; ++i) all[i] += patch[i];
    std::vector<Harmonic> found;
    for (const int harmonic : harmonics) found.push_back(FindHarmonic(harmonic, all, distribution.patches));
    const FeignedHarmonics feigned(all, distribution.even);
    for (std::size_t h = 0; h < harmonics.size(); ++h) {
        ripple.sines[h] = found[h].sine;
        ripple.cosines[h] = found[h].cosine;
        found[h].feigned = feigned.Of(harmonics[h], harmonics, found);
        ripple.isOnPixels = ripple.isOnPixels || IsFeigned(found[h]);
        if (found[h].deviation.amplitude <= ripple.amplitude) continue;
        ripple.amplitude = found[h].deviation.amplitude;
        ripple.uncertainty = found[h].deviation.uncertainty;
    }
    for (int h = 1; h <= 2 && EqualSteps(phase.shifts) > 0; ++h) {
        Ripple::Deviation& foreign = ripple.foreign[static_cast<std::size_t>(h - 1)];
        foreign = FindHarmonic(h, all, distribution.patches).deviation;
        foreign.uncertainty += feigned.Of(h, harmonics, found);
    }
    ripple.known = !ripple.isOnPixels;
    return ripple;
}

}  // namespace measure
