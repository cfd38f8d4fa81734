#include "measure/fringe/misfit.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <opencv2/core.hpp>

namespace measure {
namespace {

constexpr int kHarmonics = 8;
// The noise of one frame, where it grows with the light, is less than that of another; it must not count as a misfit.
constexpr double kNoiseMargin = 1.4;
// One frame is to blame when no more than this share of the misfit stays without it.
constexpr double kBlame = 0.5;

// All frames but `left`; -1 leaves out none.
template <class Value>
std::vector<Value> Without(int left, std::vector<Value> values) {
    if (left >= 0) values.erase(values.begin() + left);
    return values;
}

// What the fit leaves of rows of levels; `onto` takes levels to those of their fit.
cv::Mat1d ResidualsOf(const cv::Mat1d& levels, const cv::Mat1d& onto) { return cv::Mat1d(levels - levels * onto); }

// One column for each harmonic's cosine and sine, one row for each residual.
cv::Mat1d HarmonicsOf(const cv::Mat1d& fits, const std::vector<double>& shifts, const cv::Mat1d& onto) {
    using Phasor = std::complex<double>;
    const int frames = static_cast<int>(shifts.size());
    cv::Mat1d columns(2 * (kHarmonics - 1), fits.rows * frames), cosine(fits.rows, frames), sine(fits.rows, frames);
    std::vector<Phasor> units, waves;
    for (int i = 0; i < fits.rows; ++i) {
        waves.emplace_back(fits(i, 1), fits(i, 2));
        const double modulation = std::abs(waves.back());
        units.push_back(modulation > 0 ? waves.back() / modulation : Phasor(1));
    }
    for (int m = 2; m <= kHarmonics; ++m) {
        for (int i = 0; i < fits.rows; ++i) waves[static_cast<std::size_t>(i)] *= units[static_cast<std::size_t>(i)];
        for (int k = 0; k < frames; ++k) {
            const Phasor shift = std::polar(1.0, m * shifts[static_cast<std::size_t>(k)]);
            for (int i = 0; i < fits.rows; ++i) {
                const Phasor wave = waves[static_cast<std::size_t>(i)] * shift;
                cosine(i, k) = wave.real();
                sine(i, k) = wave.imag();
            }
        }
        ResidualsOf(cosine, onto).reshape(0, 1).copyTo(columns.row(2 * m - 4));
        ResidualsOf(sine, onto).reshape(0, 1).copyTo(columns.row(2 * m - 3));
    }
    return cv::Mat1d(columns.t());
}

// The misfit without one frame, relative to B. Residuals in grey levels weigh all pixels by what they can tell.
double ShareOf(const std::vector<double>& allShifts, const std::vector<Levels>& pixels, double noise, int left) {
    const std::vector<double> shifts = Without(left, allShifts);
    const cv::Mat1d functions = FunctionsOf(shifts);
    const int frames = functions.rows, count = static_cast<int>(pixels.size());
    cv::Mat1d levels(count, frames);
    for (int i = 0; i < count; ++i) {
        const Levels kept = Without(left, pixels[static_cast<std::size_t>(i)]);
        std::copy(kept.begin(), kept.end(), levels[i]);
    }
    const cv::Mat1d solve(functions * (functions.t() * functions).inv(cv::DECOMP_SVD));
    const cv::Mat1d fits(levels * solve), onto(solve * functions.t());
    const cv::Mat1d residuals = ResidualsOf(levels, onto).reshape(0, count * frames);
    const cv::Mat1d harmonics = HarmonicsOf(fits, shifts, onto);
    cv::Mat1d strengths;
    cv::solve(harmonics, residuals, strengths, cv::DECOMP_NORMAL | cv::DECOMP_SVD);
    const double unexplained = cv::norm(cv::Mat1d(residuals - harmonics * strengths), cv::NORM_L2SQR) / frames;
    const double ofNoise = std::pow(kNoiseMargin * noise, 2) * count * (frames - 3) / frames;
    const double squares = cv::norm(fits.colRange(1, 3), cv::NORM_L2SQR);  // of B
    return squares > 0 ? std::sqrt(std::max(0.0, unexplained - ofNoise) / squares) : 0;
}

}  // namespace

Misfit FindMisfit(const std::vector<double>& shifts, const std::vector<Levels>& pixels, double noise) {
    Misfit misfit;
    const int frames = static_cast<int>(shifts.size());
    if (frames < 4 || pixels.size() < 2 * kHarmonics) return misfit;
    misfit.share = ShareOf(shifts, pixels, noise, -1);
    double least = kBlame * misfit.share;
    if (frames == 4 || misfit.share <= Misfit::kMuch) return misfit;
    for (int frame = 0; frame < frames; ++frame) {
        const double share = ShareOf(shifts, pixels, noise, frame);
        if (share >= least) continue;
        least = misfit.shareWithout = share;
        misfit.frame = frame;
    }
    return misfit;
}

std::string MisfitText(const Misfit& misfit, const FrameNames& names) {
    const std::string text = cv::format(
        "the frames do not belong together: %.0f %% of the modulation remain that neither noise nor the shape of the "
        "fringes explains",
        100 * misfit.share);
    if (misfit.frame < 0)
        return text + "; a frame of another exposure, period or object, light that flickers, or a part that moved?";
    return text + "; " + cv::format("%.0f %%", 100 * misfit.shareWithout) + " without " + names(misfit.frame) +
           ": is it of another exposure, period or object?";
}

std::string SmallMisfitText(const Misfit& misfit) {
    constexpr double kRadians = 1.7;  // that light which flickers, or a shaken camera, leave in the phase for each B
    return cv::format(
        "%.1f %% of the modulation remain that neither noise nor the shape of the fringes explains, which may leave "
        "%.2f rad in the phase: light that flickers, speckle, or something that moved a little?",
        100 * misfit.share, kRadians * misfit.share);
}

std::string OtherFramesText(const Ripple& ripple) {
    std::string amount;
    for (const int harmonic : {1, 2}) {
        const double amplitude = ripple.foreign.at(static_cast<std::size_t>(harmonic - 1)).amplitude;
        if (amplitude <= ripple.MostForeign(harmonic)) continue;
        amount += (amount.empty() ? "" : " and ") + cv::format("%.2f rad ", amplitude);
        amount += harmonic == 1 ? "once" : "twice";
    }
    return "the phase deviates by " + amount +
           " a period, as fringes of no shape do in equal steps: are the steps not as described, or did the exposure "
           "or the light change between the frames? Objects of which only narrow parts are in view can do that, too";
}

std::string AlikeText(const FramePair& pair, const FrameNames& names) {
    return names(pair.a) + " and " + names(pair.b) +
           " show the same fringes, although their shifts differ: did the projector not go on, or is a picture there "
           "twice?";
}

}  // namespace measure
