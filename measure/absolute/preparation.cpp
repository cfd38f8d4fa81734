#include "measure/absolute/preparation.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "measure/absolute/causes.h"
#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/coding.h"
#include "measure/absolute/noise.h"
#include "measure/absolute/orderrows.h"
#include "measure/absolute/picturepair.h"
#include "measure/absolute/sharedripple.h"
#include "measure/error.h"
#include "measure/fringe/correctripple.h"
#include "measure/fringe/figures.h"
#include "measure/fringe/solve.h"

namespace measure {
namespace {

void RequireNarrowCells(const DecodeState& state) {
    const double most = state.DistinctOrders() * state.periods[0], cell = state.axis.gray->cell;
    constexpr double kRounding = 0.01;
    if (cell > most * (1 + kRounding))
        throw InputError("gray.cell: cells of " + Text(cell) +
                         " projector pixels are wider than what the sets of fringes tell apart (" + Text(most) +
                         "): they cannot tell the orders");
}

void SortSets(DecodeState& state) {
    const std::vector<SineSet>& sines = state.axis.sines;
    const double length = state.axis.length;
    AbsolutePhase& result = state.result;
    state.order.resize(sines.size());
    std::iota(state.order.begin(), state.order.end(), std::size_t{0});
    std::stable_sort(state.order.begin(), state.order.end(),
                     [&](auto a, auto b) { return sines[a].period < sines[b].period; });
    for (const std::size_t set : state.order) state.periods.push_back(sines[set].period);
    const double finest = state.periods[0];
    result.finest = static_cast<int>(state.order[0]);
    result.period = finest;
    result.direction = state.axis.direction;
    result.length = length;
    if (length / finest > kMostOrders - 1)  // the last one may be there in part
        throw InputError(
            cv::format("length: more than %d periods of the finest set cannot be told apart", kMostOrders - 1));
    state.repeat = FindRepeat(state.periods, length);
    if (state.axis.gray) return RequireNarrowCells(state);
    const bool isCovered = state.repeat == 0 || state.repeat * finest >= length * (1 - 1e-3);
    if (isCovered) return;
    result.repeat = state.repeat;
    if (state.repeat == 1)
        throw InputError(NameOf(state.order[0]) +
                         (sines.size() > 1 ? ": all sets have one period, which cannot tell which fringe is which; is "
                                             "the period of one of them wrong?"
                                           : ": fringes of one period cannot tell which fringe is which; add sets of "
                                             "other periods or a Gray code, or unwrap the phase spatially"));
}

void FindUsable(DecodeState& state) {
    const std::vector<FringePhase>& sets = state.fringes;
    cv::bitwise_and(sets.front().usable, sets.back().usable, state.usable);  // which may be the same set
    for (std::size_t i = 1; i + 1 < sets.size(); ++i) state.usable &= sets[i].usable;
    state.result.usable = cv::countNonZero(state.usable);
}

void FindMisfits(DecodeState& state) {
    constexpr int kPixels = 2000;
    for (std::size_t set = 0; set < state.Count(); ++set) {
        const FringePhase& fringes = state.fringes[set];
        const FringeSet frames{state.pictures.sines[set], state.axis.sines[set].shifts};
        const std::vector<Levels> pixels = SampleLevels(frames, fringes, kPixels);
        // Three frames leave no residual; whether two of them are alike shows without the noise.
        const bool isFree = frames.shifts.size() == 3;
        const double noise = isFree ? 0 : NoiseOf(frames.frames.front(), fringes.usable);
        const double clear = std::max(noise, kLeastNoise * fringes.limits.fullScale);
        state.frames.push_back({FindMisfit(frames.shifts, pixels, noise), FindAlike(frames.shifts, pixels, clear)});
        const FramePair& alike = state.frames.back().alike;
        const auto name = [set](int frame) { return FrameName(set, frame); };
        if (alike.a >= 0 && isFree) throw InputError(AlikeText(alike, name));  // no phase is left
    }
}

// Sets that cannot tell their ripple take that of the finest set with the same shifts that can. Where frames do not
// belong together, what looks like a ripple is none.
void CorrectRipples(DecodeState& state, const Progress& progress) {
    const std::vector<SineSet>& sines = state.axis.sines;
    std::vector<Ripple>& ripples = state.result.ripples;
    for (FringePhase& fringes : state.fringes) {
        const cv::Mat1b own = fringes.usable;
        fringes.usable = state.usable;
        ripples.push_back(EstimateRipple(fringes, progress));
        fringes.usable = own;
    }
    for (std::size_t i = 0; i < ripples.size(); ++i)
        if (state.frames[i].IsSpoilt()) ripples[i].known = false;
    for (std::size_t i = 0; i < ripples.size(); ++i) {
        if (state.frames[i].IsSpoilt()) continue;
        if (!ripples[i].known)
            for (const std::size_t other : state.order)
                if (ripples[other].known && sines[other].shifts == sines[i].shifts) {
                    const Ripple own = ripples[i];
                    ripples[i] = ripples[other];
                    ripples[i].periodsInView = own.periodsInView;
                    ripples[i].foreign = own.foreign;
                    break;
                }
        if (state.options.correctRipple) CorrectRipple(state.fringes[i], state.means[i], ripples[i], progress);
    }
    FindUsable(state);
}

void DecodeCode(DecodeState& state, const Progress& progress) {
    if (!state.axis.gray) return;
    const AxisPictures& pictures = state.pictures;
    if (pictures.white.empty() != pictures.black.empty())
        state.result.warnings.push_back(pictures.white.empty() ? "black: not used, since there is no \"white\""
                                                               : "white: not used, since there is no \"black\"");
    const cv::Mat1f& modulation = state.Finest().modulation;
    if (!pictures.inverse.empty()) {
        state.code = DecodeGray(pictures.gray, pictures.inverse, modulation, progress);
    } else if (const auto pair = WhiteAndBlack(pictures)) {
        cv::Mat1f threshold;
        cv::addWeighted(pair->bright, 0.5, pair->dark, 0.5, 0.0, threshold, CV_32F);
        state.code = DecodeGray(pictures.gray, threshold, modulation, progress);
    } else {
        state.code = DecodeGray(pictures.gray, state.FinestMeans().Image(), modulation, progress);
    }
}

void FindOrigins(DecodeState& state) {
    const CodedAxis& axis = state.axis;
    const double origin = axis.origin.value_or(0.0);
    for (const SineSet& set : axis.sines) state.origins.push_back(-2 * CV_PI * origin / set.period);
    if (axis.gray) {
        const std::vector<double> origins = CheckCode(state, state.code);
        if (!axis.origin && !origins.empty()) {
            state.origins = origins;
            state.commonOrigins = false;
        }
        if (!axis.origin && origins.empty())
            state.result.warnings.push_back(
                "gray: hardly any border between its cells is seen, so the column where the phase is 0 is not known "
                "and taken as 0; give \"origin\"");
    }
    const std::vector<double> offsets = CheckRelations(state);
    for (std::size_t set = 0; set < offsets.size(); ++set) state.origins[set] += offsets[set];
    state.result.offset = state.result.direction * state.origins[state.order[0]];
}

// Of all pixels, what keeps those of a set from being usable.
std::string LightOf(const DecodeState& state, std::size_t set) {
    const FringePhase& fringes = state.fringes[set];
    const FringeLimits& limits = fringes.limits;
    const cv::Mat1f mean = state.means[set].Image();
    const double dark = cv::countNonZero(mean < limits.minMean * limits.fullScale) / static_cast<double>(mean.total());
    auto modulations = Sample(fringes.modulation.size(), [&](int y, int x) { return fringes.modulation(y, x); });
    return NameOf(set) + cv::format(
                             ": %.0f %% are saturated, %.0f %% dark, half have a modulation below %.1f %% of "
                             "full scale, of which %.1f %% are needed",
                             100 * state.result.saturated[set], 100 * dark,
                             100 * static_cast<double>(MedianOf(modulations)) / limits.fullScale,
                             100 * limits.minModulation);
}

// One mistake that makes pictures fail any of the comparisons, be it one that names another mistake.
std::string FindCause(const DecodeState& state, bool isShiftNamed) {
    const std::string same = FindSameSets(state);
    return same.empty() && !isShiftNamed ? FindShift(state) : same;
}

void CompareSets(DecodeState& state, const Progress& progress) {
    CheckFrameOrder(state);
    CheckShifts(state);
    CheckMeans(state);
    CheckTiles(state);
    CheckPairs(state);
    CheckPairTiles(state);
    CheckFlicker(state);
    CheckContrast(state);
    CheckLevels(state);
    DecodeCode(state, progress);
    FindOrigins(state);
}

}  // namespace

void SolveSets(DecodeState& state, const Progress& progress) {
    CheckDescription(state.axis);
    CheckPictures(state.axis, state.pictures);
    SortSets(state);
    for (std::size_t i = 0; i < state.axis.sines.size(); ++i) {
        try {
            const FringeSet set{state.pictures.sines[i], state.axis.sines[i].shifts};
            state.fringes.push_back(SolveWithoutMean(set, state.options.limits, progress));
            state.means.emplace_back(set);
        } catch (const InputError& error) {
            throw InputError(NameOf(i) + ": " + error.what());
        }
    }
    for (const FringePhase& fringes : state.fringes) {
        state.result.saturated.push_back(SaturatedShare(fringes));
        state.result.residuals.push_back(MedianResidual(fringes));
    }
    FindUsable(state);
}

void RequireLight(const DecodeState& state) {
    constexpr double kLeastShare = 1e-3;
    const auto pixels = static_cast<double>(state.usable.total());
    if (state.result.usable >= std::max(100.0, kLeastShare * pixels)) return;
    std::string light;
    for (std::size_t set = 0; set < state.Count(); ++set) light += (set == 0 ? "" : "; ") + LightOf(state, set);
    throw NothingUsable(cv::format("hardly any pixel (%.2f %%) has enough light and modulation in all sets: ",
                                   100 * state.result.usable / pixels) +
                        light +
                        ": are the pictures too dark or saturated, or do the fringes not move from frame to frame?");
}

void CheckSets(DecodeState& state, const Progress& progress) {
    FindMisfits(state);
    CorrectRipples(state, progress);
    progress.Report("checking the coding", 0.4);
    state.result.noise = EstimateNoise(state);
    FindBest(state);
    if (state.options.correctRipple && !state.axis.gray && CorrectSharedRipple(state)) FindUsable(state);
    if (state.axis.direction < 0)
        for (FringePhase& fringes : state.fringes) cv::subtract(0.0, fringes.phase, fringes.phase);
    try {
        CompareSets(state, progress);
    } catch (const InputError& error) {
        const std::string cause = FindCause(state, false);
        if (cause.empty()) throw;
        throw InputError(cause + " (" + error.what() + ")");
    }
    const auto& checks = state.result.checks;
    if (std::any_of(checks.begin(), checks.end(), [](const DecodeCheck& check) { return !check.passed; }))
        if (const std::string cause = FindCause(state, state.isShifted); !cause.empty())
            state.result.warnings.push_back(cause);
}

}  // namespace measure
