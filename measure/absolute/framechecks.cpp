// Whether the frames of a set belong together and stand in their order.
#include <algorithm>
#include <numeric>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/frames.h"
#include "measure/fringe/exchange.h"
#include "measure/fringe/fullscale.h"

namespace measure {
namespace {

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
    std::vector<int> given(described.shifts.size());
    std::iota(given.begin(), given.end(), 0);
    const double rms = fit.Rms(given);
    const std::string name = NameOf(set);
    double best = rms;
    std::string advice;
    const auto consider = [&](const std::vector<int>& order, const std::string& text) {
        constexpr double kAsWell = 1.02;
        const double other = fit.Rms(order);
        if (other >= best * kAsWell || other >= rms) return;
        // With four frames, either of two exchanges explains the other.
        advice = other < best / kAsWell ? text : advice + (advice.empty() ? "" : ", or ") + text;
        best = std::min(best, other);
    };
    for (std::size_t a = 0; a < given.size(); ++a)
        for (std::size_t b = a + 1; b < given.size(); ++b) {
            std::vector<int> order = given;
            std::swap(order[a], order[b]);
            consider(order, "frames[" + std::to_string(a) + "] and frames[" + std::to_string(b) + "] exchanged");
        }
    if (!described.frames.empty()) consider(NaturalOrder(described.frames), "the frames in the order of their numbers");
    // What is left without noise and harmonics is rounding; nothing is to be learned from it.
    const double ratio = rms > 0.5 * state.result.noise + 1e-3 * state.fringes[set].limits.fullScale ? best / rms : 1.0;
    const bool isInOrder = state.frames[set].isInOrder = ratio > 0.9;
    Note(state.result, {name + ": fit of the frames in another order", ratio, 0.9, isInOrder},
         name + " fits better with " + advice + " (rms " + Text(best) + " instead of " + Text(rms) + " grey levels)");
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
    }
}

}  // namespace measure
