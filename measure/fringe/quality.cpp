#include <algorithm>
#include <cmath>

#include "measure/base/arguments.h"
#include "measure/fringe/exchange.h"
#include "measure/fringe/figures.h"
#include "measure/fringe/framepixels.h"
#include "measure/fringe/fullscale.h"
#include "measure/fringe/misfit.h"
#include "measure/fringequality.h"

namespace measure {
namespace {

// What is expected of frames from which a good phase comes.
constexpr double kLeastModulation = 0.04;     // of full scale
constexpr double kHopelessModulation = 0.02;  // where there is light
constexpr double kDarkPeak = 0.25;            // below this brightest level, of full scale, light is what is missing
constexpr double kMuchSaturated = 0.01;       // of all pixels
constexpr double kMuchPhaseNoise = 0.15;      // radians
constexpr double kHopelessPhaseNoise = 0.6;
constexpr double kMuchRipple = 0.05;    // radians
constexpr double kMuchResidual = 0.35;  // of B: more than fringes of any shape and noise leave together

// The level that one pixel of twenty exceeds in the brightest frame, as a share of full scale.
double PeakOf(const FringePhase& phase) {
    auto values = Sample(phase.mean.size(), [&](int y, int x) { return phase.mean(y, x) + phase.modulation(y, x); });
    return static_cast<double>(QuantileOf(values, 0.95)) / phase.limits.fullScale;
}

void Judge(const FringePhase& phase, const Ripple& ripple, const FrameNames& names, FringeQuality& q) {
    const double peak = PeakOf(phase);
    const auto say = [&q](const std::string& finding, FringeVerdict least = FringeVerdict::eDoubtful) {
        q.findings.push_back(finding);
        q.verdict = std::max(q.verdict, least);
    };
    const auto fail = [&] { q.verdict = peak < kDarkPeak ? FringeVerdict::eTooDark : FringeVerdict::eLowContrast; };
    const char* const remedy = peak < kDarkPeak
                                   ? "the pictures are dark: expose longer or open the aperture"
                                   : "there is light enough: less light of the room, or a sharper projector";
    if (q.usable < FringeQuality::kLeastUsable) {
        say(cv::format("hardly anything is usable (%.2f %% of the pixels); %s", 100 * q.usable, remedy));
        fail();
    } else if (q.modulation < kLeastModulation) {
        say(
            cv::format("the fringes are weak: half of the usable pixels have a modulation of less than %.1f %% of full "
                       "scale, %.0f %% should be reached; %s",
                       100 * q.modulation, 100 * kLeastModulation, remedy));
        if (peak < kDarkPeak || q.modulation < kHopelessModulation) fail();
    }
    if (q.usable >= FringeQuality::kLeastUsable && q.phaseNoise > kMuchPhaseNoise) {
        say(cv::format("noise of %.1f grey levels leaves %.2f rad in the phase; more frames or more light help",
                       q.noise, q.phaseNoise));
        if (q.phaseNoise > kHopelessPhaseNoise) fail();
    }
    if (q.saturated > kMuchSaturated)
        say(cv::format("%.1f %% of the pixels are saturated; expose shorter or close the aperture", 100 * q.saturated),
            q.saturated > q.usable ? FringeVerdict::eLowContrast : FringeVerdict::eDoubtful);
    if (q.clipLevel > 0) say(ClipText(q.clipLevel, phase.limits.fullScale));
    if (ripple.known && ripple.amplitude > kMuchRipple)
        say(cv::format("the fringes are no sines: a ripple of %.2f rad, which is corrected unless that is turned off; "
                       "more frames or the projector's gamma set to 1 avoid it",
                       ripple.amplitude),
            FringeVerdict::eGood);
    constexpr auto kNotTogether = FringeVerdict::eNotTogether;
    if (q.sameA >= 0) say(AlikeText({q.sameA, q.sameB}, names), kNotTogether);
    if (!q.exchanged.empty()) {
        std::string pairs;
        for (const auto& [a, b] : q.exchanged)
            pairs += (pairs.empty() ? "" : ", or ") + names(a) + " and " + names(b) + " exchanged";
        say("the frames fit better with " + pairs + ": wrong order or shifts?", kNotTogether);
    } else if (q.misfit > Misfit::kMuch || (q.residual > kMuchResidual && q.phaseNoise <= kMuchPhaseNoise)) {
        say(MisfitText(
                {std::max(q.misfit, q.residual > kMuchResidual ? q.residual : 0), q.misfitFrame, q.misfitWithout},
                names),
            kNotTogether);
    } else if (q.sameA < 0 && ripple.IsOfOtherFrames()) {
        say(OtherFramesText(ripple), kNotTogether);
    } else if (const Misfit misfit{q.misfit}; misfit.IsWorthNoting()) {
        say(SmallMisfitText(misfit), FringeVerdict::eGood);
    }
}

void Require(const FringeSet& set, const FringePhase& phase) {
    RequireOneSize({"the phase", phase.phase}, {{"the mean", phase.mean},
                                                {"the modulation", phase.modulation},
                                                {"the residual", phase.residual, kOptional},
                                                {"the saturated pixels", phase.saturated},
                                                {"the usable pixels", phase.usable}});
    RequirePositive("the full scale of the phase", phase.limits.fullScale);
    RequireFrames(set);
    RequireOneSize({"the phase", phase.phase}, {{"frames[0]", set.frames[0]}});
}

}  // namespace

FringeQuality AssessFringes(const FringeSet& set, const FringePhase& phase, const Ripple& ripple,
                            const std::vector<std::string>& names) {
    Require(set, phase);
    FringeQuality q;
    q.usable = cv::countNonZero(phase.usable) / static_cast<double>(phase.usable.total());
    q.saturated = SaturatedShare(phase);
    q.clipLevel = FindClipLevel(set, phase);
    q.mean = MedianOfUsable(phase, [&](int y, int x) { return phase.mean(y, x); }) / phase.limits.fullScale;
    const double modulation = MedianOfUsable(phase, [&](int y, int x) { return phase.modulation(y, x); });
    q.modulation = modulation / phase.limits.fullScale;
    const double texture = NoiseOf(set.frames.front(), phase.usable);  // colour filters of a camera count, too
    const std::vector<Levels> pixels = SampleLevels(set, phase);
    const FramePair same = FindAlike(set.shifts, pixels, std::max(texture, kLeastNoise * phase.limits.fullScale));
    q.noise = std::min(texture, NoiseInResidual(phase));
    if (same.a < 0) q.noise = std::min(q.noise, NoiseInPhase(phase));
    const auto frames = static_cast<double>(set.frames.size());
    if (modulation > 0) q.phaseNoise = q.noise * std::sqrt(2 / frames) / modulation;
    q.sameA = same.a;
    q.sameB = same.b;
    if (!phase.residual.empty()) {
        q.residual = MedianResidual(phase);
        for (const FramePair& pair : FindExchanges({set.shifts, pixels}).pairs)
            q.exchanged.emplace_back(pair.a, pair.b);
        const Misfit misfit = FindMisfit(set.shifts, pixels, texture);
        q.misfit = misfit.share;
        q.misfitFrame = misfit.frame;
        q.misfitWithout = misfit.shareWithout;
    }
    const auto nameOf = [&names](int frame) {
        const auto k = static_cast<std::size_t>(frame);
        return k < names.size() ? names[k] : "frame " + std::to_string(frame + 1);
    };
    Judge(phase, ripple, nameOf, q);
    return q;
}

}  // namespace measure
