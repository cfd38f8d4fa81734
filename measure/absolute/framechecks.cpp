// Whether the frames of a set belong together and stand in their order.
#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <numeric>
#include <optional>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/picturepair.h"
#include "measure/base/quantile.h"
#include "measure/frames.h"
#include "measure/fringe/exchange.h"
#include "measure/fringe/framepixels.h"
#include "measure/fringe/fullscale.h"

namespace measure {
namespace {

float CosineOf(const FringePhase& fringes, cv::Point at) {
    return fringes.modulation(at) * std::cos(fringes.phase(at));
}
float SineOf(const FringePhase& fringes, cv::Point at) { return fringes.modulation(at) * std::sin(fringes.phase(at)); }

std::vector<int> NaturalOrder(const std::vector<std::filesystem::path>& files) {
    std::vector<int> order(files.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&](int a, int b) {
        return NaturalLess(files[static_cast<std::size_t>(a)].filename().u8string(),
                           files[static_cast<std::size_t>(b)].filename().u8string());
    });
    return order;
}

void CheckFrameOrder(DecodeState& state, std::size_t set) {
    const SineSet& described = state.axis.sines[set];
    std::vector<Levels> pixels;
    for (const cv::Point& at : state.best) pixels.push_back(LevelsAt(state.pictures.sines[set], at.y, at.x));
    const OrderFit fit(described.shifts, pixels);
    const Exchanges exchanges = FindExchanges(fit);
    const double rms = exchanges.given;
    double best = exchanges.least;
    std::string advice;
    const auto add = [&](const std::string& text) { advice += (advice.empty() ? "" : ", or ") + text; };
    // With four frames, either of two exchanges explains the other.
    for (const auto& [a, b] : exchanges.pairs) add(cv::format("frames[%d] and frames[%d] exchanged", a, b));
    if (!described.frames.empty()) {
        const double numbered = fit.Rms(NaturalOrder(described.frames));
        if (numbered < best / kAsGoodAnOrder) advice.clear();
        if (numbered < best * kAsGoodAnOrder) add("the frames in the order of their numbers");
        best = std::min(best, numbered);
    }
    const std::string name = NameOf(set);
    // What is left without noise and harmonics is rounding; nothing is to be learned from it.
    const double ratio = rms > 0.5 * state.result.noise + 1e-3 * state.fringes[set].limits.fullScale ? best / rms : 1.0;
    const bool isInOrder = state.frames[set].isInOrder = ratio > kBetterOrder;
    Note(state.result, {name + ": fit of the frames in another order", ratio, kBetterOrder, isInOrder},
         name + " fits better with " + advice + " (rms " + Text(best) + " instead of " + Text(rms) + " grey levels)");
}

// What the fringes of a set should leave alone: the mean of another set, or of pictures of a code, and what may tell
// the two apart in a right scan.
struct Reference {
    std::function<float(cv::Point)> mean;
    std::vector<std::function<float(cv::Point)>> differences;
};

std::optional<Reference> FindReference(const DecodeState& state, std::size_t set) {
    constexpr double kNear = 1.5;
    for (std::size_t other = 0; other < state.Count(); ++other) {
        if (other == set) continue;
        Reference reference{[&means = state.means[other]](cv::Point at) { return means.At(at); }, {}};
        // Fringes of nearly the same period may be taken for those of the set.
        if (state.axis.sines[other].period < kNear * state.axis.sines[set].period)
            reference.differences = {[&of = state.fringes[other]](cv::Point at) { return CosineOf(of, at); },
                                     [&of = state.fringes[other]](cv::Point at) { return SineOf(of, at); }};
        return reference;
    }
    const std::optional<PicturePair> pair = FindPair(state.pictures);
    if (!pair) return {};
    return Reference{[p = *pair](cv::Point at) { return p.MeanAt(at.y, at.x); },
                     {[&of = state.fringes[set]](cv::Point at) { return of.modulation(at); }}};
}

// The amplitude of the fringes that the mean of a set still has, as a share of the modulation. Frames in changing light
// leave them there: I_k (1 + e_k) has the mean A + B sum(e_k cos(phase + d_k)) / 3.
double FringesInMean(const DecodeState& state, std::size_t set, const Reference& reference,
                     const std::vector<cv::Point>& pixels) {
    constexpr double kFar = 3.7;  // times the median of the deviations, 2.5 times the standard deviation
    const FringePhase& of = state.fringes[set];
    const auto terms = static_cast<int>(4 + reference.differences.size());
    cv::Mat1d functions(0, terms), values(0, 1), strengths;
    for (const cv::Point& at : pixels) {
        const float mean = reference.mean(at);
        cv::Mat1d row(1, terms);
        row(0) = CosineOf(of, at);
        row(1) = SineOf(of, at);
        row(2) = mean;
        row(3) = 1;
        for (int term = 4; term < terms; ++term)
            row(term) = reference.differences[static_cast<std::size_t>(term - 4)](at);
        functions.push_back(row);
        values.push_back(static_cast<double>(state.means[set].At(at) - mean));
    }
    const auto fit = [&] { cv::solve(functions, values, strengths, cv::DECOMP_NORMAL | cv::DECOMP_SVD); };
    fit();
    const cv::Mat1d left(values - functions * strengths);
    std::vector<double> deviations;
    for (const double deviation : left) deviations.push_back(std::abs(deviation));
    const double limit = kFar * static_cast<double>(MedianOf(deviations));
    for (int i = 0; i < left.rows; ++i)
        if (std::abs(left(i, 0)) > limit) functions.row(i) = values(i, 0) = 0;
    fit();
    return std::hypot(strengths(0, 0), strengths(1, 0));
}

}  // namespace

void CheckFrameOrder(DecodeState& state) {
    for (std::size_t set = 0; set < state.Count(); ++set)
        if (state.axis.sines[set].shifts.size() > 3) CheckFrameOrder(state, set);
}

void NoteMisfits(DecodeState& state) {
    for (std::size_t set = 0; set < state.Count(); ++set) {
        const std::string of = NameOf(set);
        const auto name = [set](int frame) { return FrameName(set, frame); };
        const auto& [misfit, alike, isInOrder] = state.frames[set];
        if (alike.a >= 0) state.result.warnings.push_back(AlikeText(alike, name));
        const bool isSmall = misfit.share <= Misfit::kMuch;
        state.result.checks.push_back(
            {of + ": what neither noise nor the shape of the fringes explains, of the modulation", misfit.share,
             Misfit::kMuch, isSmall});
        const Ripple& ripple = state.result.ripples[set];
        const double foreign = std::max(ripple.foreign[0].amplitude / ripple.MostForeign(1),
                                        ripple.foreign[1].amplitude / ripple.MostForeign(2));
        state.result.checks.push_back({of + ": deviation of the phase that fringes of no shape have in these steps, of "
                                            "what the scene may feign",
                                       foreign, 1, !ripple.IsOfOtherFrames()});
        const FringePhase& fringes = state.fringes[set];
        const double clip = FindClipLevel({state.pictures.sines[set], fringes.shifts}, fringes);
        if (clip > 0) state.result.warnings.push_back(of + ": " + ClipText(clip, fringes.limits.fullScale));
        // Frames in a wrong order, which has been said, do not fit either.
        if (!isInOrder) continue;
        if (!isSmall)
            state.result.warnings.push_back(of + ": " + MisfitText(misfit, name));
        else if (alike.a < 0 && ripple.IsOfOtherFrames())
            state.result.warnings.push_back(of + ": " + OtherFramesText(ripple));
        else if (misfit.IsWorthNoting())
            state.result.notes.push_back(of + ": " + SmallMisfitText(misfit));
    }
}

void CheckFlicker(DecodeState& state) {
    constexpr double kMost = 0.03;  // cameras and projectors in good order leave up to 0.02
    constexpr double kMostAlike = 0.5;
    constexpr std::size_t kPixels = 1000;
    const auto set = static_cast<std::size_t>(state.result.finest);
    // More frames than three tell it by their residual; so may the ripple.
    if (state.axis.sines[set].shifts.size() != 3 || state.result.ripples[set].IsOfOtherFrames() || state.best.empty())
        return;
    std::vector<cv::Point> pixels;
    const std::size_t stride = std::max<std::size_t>(1, state.best.size() / kPixels);
    for (std::size_t i = 0; i < state.best.size(); i += stride) pixels.push_back(state.best[i]);
    std::complex<double> sum;
    for (const cv::Point& at : pixels) sum += std::polar(1.0, static_cast<double>(state.fringes[set].phase(at)));
    if (std::abs(sum) > kMostAlike * static_cast<double>(pixels.size())) return;
    const std::optional<Reference> reference = FindReference(state, set);
    if (!reference) return;
    const double share = FringesInMean(state, set, *reference, pixels);
    Note(state.result,
         {NameOf(set) + ": fringes that its mean brightness shows, of the modulation", share, kMost, share <= kMost},
         NameOf(set) +
             cv::format(": the mean brightness of the frames goes with the fringes, by %.1f %% of their "
                        "modulation, which moves the phase",
                        100 * share) +
             ": does the light flicker, or did the exposure change between the frames?");
}

}  // namespace measure
