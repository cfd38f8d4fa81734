#include <algorithm>
#include <array>
#include <cmath>

#include "measure/fringe.h"
#include "measure/fringe/phaserows.h"
#include "measure/fringe/rowbands.h"

namespace measure {
namespace {

// A shift as a share of a period, 0 to 1.
double ShareOf(double shift) {
    const double periods = shift / (2 * CV_PI);
    return periods - std::floor(periods);
}

bool SameShare(double a, double b) {
    const double distance = std::abs(a - b);
    return std::min(distance, 1 - distance) < 1e-3;
}

// The number of different shifts when these divide a period equally and each occurs as often as the others, as in 0,
// 120, 240 or -90, 0, 90, 180, 270, 360 + ... degrees; else 0.
int EqualSteps(const std::vector<double>& shifts) {
    std::vector<double> different;
    std::vector<int> counts;
    for (const double shift : shifts) {
        const double share = ShareOf(shift);
        std::size_t i = 0;
        while (i < different.size() && !SameShare(different[i], share)) ++i;
        if (i == different.size()) {
            different.push_back(share);
            counts.push_back(0);
        }
        ++counts[i];
    }
    const auto steps = static_cast<int>(different.size());
    for (const int count : counts) {
        if (count != counts.front()) return 0;
    }
    for (const double share : different) {
        const double place = (share - different.front()) * steps;
        if (std::abs(place - std::round(place)) > 1e-3 * steps) return 0;
    }
    return steps;
}

std::vector<int> HarmonicsOf(const std::vector<double>& shifts) {
    const int steps = EqualSteps(shifts);
    return steps > 0 ? std::vector<int>{steps, 2 * steps} : std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8};
}

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
    const auto place = periods.begin() + static_cast<std::ptrdiff_t>(periods.size() * 9 / 10);
    std::nth_element(periods.begin(), place, periods.end());
    return *place;
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

// The distributions in patches of the image. Some hundred thousand pixels tell them. Their places change from row to
// row without a rhythm that fringes could have.
std::vector<Distribution> DistributePhase(const FringePhase& set, const Progress& progress) {
    constexpr std::size_t kEnoughPixels = std::size_t{1} << 19;
    const cv::Size size = set.phase.size();
    const int step = static_cast<int>(std::clamp<std::size_t>(set.phase.total() / kEnoughPixels, 1, 16));
    std::vector<Distribution> patches(kPatches * kPatches);
    progress.Report("estimating the ripple");
    cv::parallel_for_(cv::Range(0, kPatches), [&](const cv::Range& range) {
        for (int y = range.start * size.height / kPatches; y < range.end * size.height / kPatches; ++y) {
            const float* const phase = set.phase[y];
            const std::uint8_t* const usable = set.usable[y];
            const int row = std::min(kPatches - 1, y * kPatches / size.height);
            const auto scattered = static_cast<std::uint32_t>(y) * 2654435769U >> 16;
            for (int x = static_cast<int>(scattered) % step; x < size.width; x += step) {
                if (!usable[x]) continue;
                const float place = phase[x] * (kBins / (2 * kPi)) + kBins / 2.0F;
                const auto bin = static_cast<std::size_t>(std::clamp(place, 0.0F, kBins - 1.0F));
                ++patches[static_cast<std::size_t>(row * kPatches + x * kPatches / size.width)][bin];
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

}  // namespace

Ripple EstimateRipple(const FringePhase& phase, const Progress& progress) {
    Ripple ripple;
    ripple.periodsInView = CountPeriodsInView(phase);
    ripple.harmonics = HarmonicsOf(phase.shifts);
    ripple.sines.assign(ripple.harmonics.size(), 0.0);
    ripple.cosines.assign(ripple.harmonics.size(), 0.0);
    if (ripple.periodsInView < Ripple::kLeastPeriodsInView) return ripple;
    const std::vector<Distribution> patches = DistributePhase(phase, progress);
    Distribution all{};
    for (const Distribution& patch : patches) {
        for (std::size_t i = 0; i < kBins; ++i) all[i] += patch[i];
    }
    for (std::size_t h = 0; h < ripple.harmonics.size(); ++h) {
        const int harmonic = ripple.harmonics[h];
        const std::vector<cv::Vec3d> waves = Waves(harmonic);
        const cv::Vec3d sum = Sum(all, waves);
        ripple.sines[h] = 2 * sum[0] / (sum[2] * harmonic);
        ripple.cosines[h] = -2 * sum[1] / (sum[2] * harmonic);
        const double amplitude = std::hypot(ripple.sines[h], ripple.cosines[h]);
        if (amplitude <= ripple.amplitude) continue;
        ripple.amplitude = amplitude;
        ripple.uncertainty = 2 * StandardError(patches, waves, sum) / harmonic;
    }
    ripple.known = true;
    return ripple;
}

void CorrectRipple(FringePhase& phase, const Ripple& ripple, const Progress& progress) {
    if (!ripple.IsWorthCorrecting()) return;
    if (ripple.harmonics != HarmonicsOf(phase.shifts))
        throw InputError("the ripple was estimated on fringes with other phase shifts");
    rows::Harmonics harmonics;
    for (const int harmonic : ripple.harmonics) {
        const auto i = static_cast<std::size_t>(harmonics.count++);
        if (i >= rows::Harmonics::kLargest || harmonic != ripple.harmonics.front() * harmonics.count)
            throw InputError("the harmonics of a ripple are the first multiples of the least, at most eight");
        harmonics.sines[i] = static_cast<float>(ripple.sines[i]);
        harmonics.cosines[i] = static_cast<float>(ripple.cosines[i]);
    }
    ForRowBands(phase.phase.size(), progress, "correcting the ripple", [&](const cv::Range& range) {
        for (int y = range.start; y < range.end; ++y) {
            rows::AddHarmonics(harmonics, ripple.harmonics.front(), phase.phase[y],
                               static_cast<std::size_t>(phase.phase.cols));
        }
    });
}

}  // namespace measure
