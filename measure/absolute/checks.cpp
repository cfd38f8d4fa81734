#include "measure/absolute/checks.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numeric>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/coding.h"
#include "measure/absolute/noise.h"
#include "measure/absolute/wrapping.h"
#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/frames.h"
#include "measure/fringe/exchange.h"
#include "measure/fringe/fullscale.h"
#include "measure/fringe/harmonics.h"

namespace measure {
namespace {

// --- Pictures

class PictureComparison {
public:
    explicit PictureComparison(const cv::Mat& first) : mFirst(first) {}

    void Compare(const std::string& key, const cv::Mat& picture) const {
        RequireOneKind({"sines[0].frames[0]", mFirst}, {{key, picture}});
    }
    void CompareIfAny(const std::string& key, const cv::Mat& picture) const {
        if (!picture.empty()) Compare(key, picture);
    }
    void CompareAll(const std::string& key, const std::vector<cv::Mat>& pictures, std::size_t count) const {
        if (pictures.size() != count)
            throw InputError(key + ": " + std::to_string(pictures.size()) + " pictures for " + std::to_string(count) +
                             " in the description");
        for (std::size_t k = 0; k < count; ++k) Compare(key + "[" + std::to_string(k) + "]", pictures[k]);
    }

private:
    cv::Mat mFirst;
};

// --- The order of frames

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

// --- Phases against each other

class RelationTest {
public:
    explicit RelationTest(const DecodeState& state) : mState(state) {
        for (std::size_t set = 0; set < state.Count(); ++set) {
            mPeriods.push_back(state.axis.sines[set].period);
            std::vector<float> phases;
            std::vector<double> variances;
            for (const cv::Point& at : state.best) {
                double variance = 0;
                const auto origin = static_cast<float>(state.origins[set]);
                phases.push_back(SamplePhase(state, set, at, variance) - origin);
                variances.push_back(variance);
            }
            mPhases.push_back(std::move(phases));
            mVariances.push_back(std::move(variances));
        }
    }

    const std::vector<double>& Periods() const { return mPeriods; }

    // The mean of e^(i sum of factor · phase).
    std::complex<double> Mean(const std::vector<int>& factors) const {
        std::complex<double> sum;
        for (std::size_t i = 0; i < mState.best.size(); ++i) {
            float angle = 0;
            for (std::size_t set = 0; set < factors.size(); ++set)
                angle += static_cast<float>(factors[set]) * mPhases[set][i];
            sum += std::polar(1.0, static_cast<double>(angle));
        }
        return sum / static_cast<double>(std::max<std::size_t>(mState.best.size(), 1));
    }

    // What noise leaves of the length of the mean.
    double Expected(const std::vector<int>& factors) const {
        double sum = 0;
        for (std::size_t i = 0; i < mState.best.size(); ++i) {
            double variance = 0;
            for (std::size_t set = 0; set < factors.size(); ++set)
                variance += factors[set] * factors[set] * mVariances[set][i];
            sum += std::exp(-0.5 * variance);
        }
        return sum / static_cast<double>(std::max<std::size_t>(mState.best.size(), 1));
    }

    double Concentration(const std::vector<int>& factors) const {
        return std::abs(Mean(factors)) / std::max(Expected(factors), 1e-9);
    }

private:
    const DecodeState& mState;
    std::vector<double> mPeriods;
    std::vector<std::vector<float>> mPhases;
    std::vector<std::vector<double>> mVariances;
};

std::string SetsOf(const std::vector<int>& factors) {
    std::string names;
    const auto last = static_cast<std::size_t>(
        std::distance(factors.begin(), std::find_if(factors.rbegin(), factors.rend(), [](int f) { return f; }).base()) -
        1);
    for (std::size_t set = 0; set < factors.size(); ++set)
        if (factors[set] != 0) names += (names.empty() ? "" : set == last ? " and " : ", ") + NameOf(set);
    return names;
}

// Which single mistake would explain that phases do not fit to each other.
std::string ExplainMisfit(const RelationTest& test, const std::vector<int>& factors, double length) {
    constexpr double kFits = 0.7;
    for (std::size_t set = 0; set < factors.size(); ++set) {
        if (factors[set] == 0) continue;
        std::vector<int> turned = factors;
        turned[set] = -turned[set];
        if (test.Concentration(turned) > kFits)
            return "the phase of one of them runs the other way: are the signs of its shifts wrong, or its frames in "
                   "reverse order?";
    }
    for (std::size_t a = 0; a < factors.size(); ++a)
        for (std::size_t b = a + 1; b < factors.size(); ++b) {
            std::vector<double> periods = test.Periods();
            std::swap(periods[a], periods[b]);
            const std::vector<Relation> relations = FindRelations(periods, length);
            const bool allFit = std::all_of(relations.begin(), relations.end(), [&](const Relation& relation) {
                return test.Concentration(relation.factors) > kFits;
            });
            if (!relations.empty() && allFit)
                return "the periods of " + NameOf(a) + " and " + NameOf(b) + " look exchanged";
        }
    return "is a period wrong, are the signs of the shifts of one set wrong, or is a frame exchanged with one of "
           "another set?";
}

}  // namespace

void CheckDescription(const CodedAxis& axis) {
    if (axis.sines.empty()) throw InputError("sines: at least one set of shifted fringes is needed");
    RequirePositive("length", axis.length);
    RequireNumber(axis.direction == 1 || axis.direction == -1, "direction", axis.direction, "1 or -1");
    if (axis.origin) RequireFinite("origin", *axis.origin);
    for (std::size_t i = 0; i < axis.sines.size(); ++i) RequirePositive(NameOf(i) + ".period", axis.sines[i].period);
    if (!axis.gray) return;
    RequirePositive("gray.cell", axis.gray->cell);
    const double offset = axis.gray->offset;
    RequireNumber(std::abs(offset) <= axis.length, "gray.offset", offset, "at most the length in projector pixels");
    const std::size_t bits = axis.gray->frames.size(), inverse = axis.gray->inverse.size();
    if (inverse > 0) RequireOneLength("gray.inverse", inverse, "gray.frames", bits);
}

void CheckPictures(const CodedAxis& axis, const AxisPictures& pictures) {
    if (pictures.sines.size() != axis.sines.size() || pictures.sines[0].empty())
        throw InputError("sines: " + std::to_string(pictures.sines.size()) + " sets of pictures for " +
                         std::to_string(axis.sines.size()) + " in the description");
    const PictureComparison comparison(pictures.sines[0][0]);
    for (std::size_t i = 0; i < axis.sines.size(); ++i)
        comparison.CompareAll(NameOf(i) + ".frames", pictures.sines[i], axis.sines[i].shifts.size());
    comparison.CompareAll("gray.frames", pictures.gray, axis.gray ? axis.gray->frames.size() : 0);
    comparison.CompareAll("gray.inverse", pictures.inverse, axis.gray ? axis.gray->inverse.size() : 0);
    comparison.CompareIfAny("white", pictures.white);
    comparison.CompareIfAny("black", pictures.black);
}

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
        const FringePhase& fringes = state.fringes[set];
        const double clip = FindClipLevel({state.pictures.sines[set], fringes.shifts}, fringes);
        if (clip > 0) state.result.warnings.push_back(of + ": " + ClipText(clip, fringes.limits.fullScale));
        // Frames in a wrong order, which has been said, do not fit either.
        if (!isInOrder) continue;
        const Ripple& ripple = state.result.ripples[set];
        if (!isSmall)
            state.result.warnings.push_back(of + ": " + MisfitText(misfit, name));
        else if (alike.a < 0 && ripple.IsOfOtherFrames())
            state.result.warnings.push_back(of + ": " + OtherFramesText(ripple));
    }
}

void CheckMeans(DecodeState& state) {
    constexpr double kLimit = 0.35;
    const auto finest = static_cast<std::size_t>(state.result.finest);
    for (std::size_t set = 0; set < state.Count(); ++set) {
        if (set == finest) continue;
        double differences = 0, modulations = 0;
        for (const cv::Point& at : state.best) {
            const auto difference = static_cast<double>(state.fringes[set].mean(at) - state.Finest().mean(at));
            const auto b = static_cast<double>(state.Finest().modulation(at));
            differences += difference * difference;
            modulations += b * b;
        }
        const double ratio = std::sqrt(differences / std::max(modulations, 1e-9));
        const std::string names = NameOf(std::min(set, finest)) + " and " + NameOf(std::max(set, finest));
        const DecodeCheck check{names + ": difference of the mean brightness over the modulation", ratio, kLimit,
                                ratio <= kLimit};
        Require(state.result, check,
                names + " differ in their mean brightness (" + Text(ratio) + " of the modulation): is a frame of one " +
                    "set exchanged with one of the other, or did the light change between them?");
    }
}

std::vector<double> CheckRelations(DecodeState& state) {
    constexpr double kLeastExpected = 0.2, kLeastConcentration = 0.5, kGoodConcentration = 0.75, kMostOffset = 0.1;
    std::vector<double> offsets(state.Count(), 0.0);
    if (state.Count() < 2) return offsets;
    const RelationTest test(state);
    std::vector<std::vector<int>> used;
    std::vector<double> means;
    std::vector<int> steps;
    for (const SineSet& set : state.axis.sines) steps.push_back(EqualSteps(set.shifts));
    for (const Relation& relation : FindRelations(test.Periods(), state.axis.length, steps)) {
        if (!relation.isShortest && !state.commonOrigins) continue;
        if (test.Expected(relation.factors) < kLeastExpected) continue;  // the noise hides it
        const std::string names = SetsOf(relation.factors);
        const double concentration = test.Concentration(relation.factors);
        const bool fits = concentration >= kLeastConcentration;
        Require(state.result,
                {names + ": share of the phases that fit to each other", concentration, kLeastConcentration, fits},
                names + " do not fit to each other (" + Text(concentration) +
                    " of 1): " + (fits ? "" : ExplainMisfit(test, relation.factors, state.axis.length)));
        if (concentration < kGoodConcentration)
            state.result.warnings.push_back(
                names + " fit badly to each other (" + Text(concentration) + " of 1, expected " +
                Text(kGoodConcentration) +
                " or more): light that goes to and fro between shiny "
                "surfaces, something that moved, or light that changed? A Gray code is less sensitive to it");
        const double mean = std::arg(test.Mean(relation.factors)) / (2 * CV_PI);
        if (state.commonOrigins)
            Require(state.result,
                    {names + ": distance of the origins in periods", std::abs(mean), kMostOffset,
                     std::abs(mean) <= kMostOffset},
                    names + " do not begin at the same place (" + Text(std::abs(mean)) + " periods off): are the " +
                        "frames of one set rotated, so that the list begins with another one, or is a number of " +
                        "periods wrong by one?");
        if (!relation.isShortest) continue;
        used.push_back(relation.factors);
        means.push_back(mean);
    }
    if (used.empty()) return offsets;
    cv::Mat1d factors(static_cast<int>(used.size()), static_cast<int>(state.Count())), right(factors.rows, 1), solved;
    for (int i = 0; i < factors.rows; ++i) {
        right(i, 0) = 2 * CV_PI * means[static_cast<std::size_t>(i)];
        for (int set = 0; set < factors.cols; ++set)
            factors(i, set) =
                set == state.result.finest ? 0 : used[static_cast<std::size_t>(i)][static_cast<std::size_t>(set)];
    }
    // The smallest offsets that explain the means.
    solved = factors.t() * (factors * factors.t()).inv(cv::DECOMP_SVD) * right;
    for (std::size_t set = 0; set < state.Count(); ++set) offsets[set] = solved(static_cast<int>(set), 0);
    return offsets;
}

}  // namespace measure
