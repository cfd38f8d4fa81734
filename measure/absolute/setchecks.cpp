// Whether the sets of fringes fit to each other, as their periods say.
#include <algorithm>
#include <cmath>
#include <complex>

#include "measure/absolute/causes.h"
#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/coding.h"
#include "measure/absolute/noise.h"
#include "measure/error.h"
#include "measure/fringe/harmonics.h"

namespace measure {
namespace {

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
    constexpr double kFits = 0.7, kFitsSomehow = 0.1;  // more than wrong periods leave
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
    const std::string light =
        test.Concentration(factors) > kFitsSomehow
            ? " Or does light go to and fro between shiny surfaces, or flicker? A Gray code is less sensitive to it"
            : "";
    return "is a period wrong, are the signs of the shifts of one set wrong, or is a frame exchanged with one of "
           "another set?" +
           light;
}

// A set beside the finest one, in the best pixels.
struct Brightness {
    double difference = 0;    // of the means, relative to the modulation: root mean square
    double rest = 0;          // of it where one factor is taken out
    double ofMeans = 0;       // that factor
    double ofModulation = 0;  // the same for the modulations, which is less for fine fringes out of focus

    // All frames of one of the two are brighter by one factor, which phases do not depend on.
    bool IsExposure() const {
        constexpr double kExplained = 0.3, kMostRest = 0.15, kNearly = 1.25;
        const double others = ofModulation / ofMeans;
        return rest < kMostRest && rest < kExplained * difference && others < kNearly && others > 1 / kNearly;
    }
};

Brightness CompareBrightness(const DecodeState& state, std::size_t set) {
    double means = 0, products = 0, references = 0, modulations = 0, squares = 0, differences = 0;
    for (const cv::Point& at : state.best) {
        const auto mean = static_cast<double>(state.means[set].At(at)),
                   reference = static_cast<double>(state.FinestMeans().At(at)),
                   own = static_cast<double>(state.fringes[set].modulation(at)),
                   b = static_cast<double>(state.Finest().modulation(at));
        differences += (mean - reference) * (mean - reference);
        means += mean * mean;
        products += mean * reference;
        references += reference * reference;
        modulations += own * b;
        squares += b * b;
    }
    const double factor = products / std::max(references, 1e-9), modulation = std::max(squares, 1e-9);
    return {std::sqrt(differences / modulation),
            std::sqrt(std::max(0.0, means - factor * products) / (std::max(factor * factor, 1e-9) * modulation)),
            factor, modulations / modulation};
}

// `expected` is what noise leaves.
void CheckConcentration(DecodeState& state, const RelationTest& test, const std::vector<int>& factors,
                        double expected) {
    constexpr double kLeast = 0.5, kGood = 0.75;
    // Where noise leaves little, a little more of it than estimated leaves less by a power.
    const double least = kLeast * std::pow(expected, 0.25), good = kGood * std::sqrt(expected);
    const std::string names = SetsOf(factors);
    const double concentration = test.Concentration(factors);
    const bool fits = concentration >= least;
    Require(state.result, {names + ": share of the phases that fit to each other", concentration, least, fits},
            names + " do not fit to each other (" + Text(concentration) +
                " of 1): " + (fits ? "" : ExplainMisfit(test, factors, state.axis.length)));
    if (concentration < good)
        state.result.warnings.push_back(
            names + " fit badly to each other (" + Text(concentration) + " of 1, expected " + Text(good) +
            " or more): light that goes to and fro between shiny "
            "surfaces, something that moved, or light that changed? A Gray code is less sensitive to it");
}

void CheckOffset(DecodeState& state, const std::string& names, double periods) {
    constexpr double kMost = 0.1;
    Require(state.result, {names + ": distance of the origins in periods", periods, kMost, periods <= kMost},
            names + " do not begin at the same place (" + Text(periods) + " periods off): are the " +
                "frames of one set rotated, so that the list begins with another one, is a number of " +
                "periods wrong by one, or did camera or part move between the sets?");
}

// The smallest offsets of the sets, in radians, that explain the means of relations in periods; that of the finest is
// 0.
std::vector<double> SolveOffsets(const std::vector<std::vector<int>>& relations, const std::vector<double>& means,
                                 int finest) {
    const std::size_t count = relations.front().size();
    cv::Mat1d factors(static_cast<int>(relations.size()), static_cast<int>(count)), right(factors.rows, 1), solved;
    for (int i = 0; i < factors.rows; ++i) {
        const auto relation = static_cast<std::size_t>(i);
        right(i, 0) = 2 * CV_PI * means[relation];
        for (int set = 0; set < factors.cols; ++set)
            factors(i, set) = set == finest ? 0 : relations[relation][static_cast<std::size_t>(set)];
    }
    solved = factors.t() * (factors * factors.t()).inv(cv::DECOMP_SVD) * right;
    return {solved.begin(), solved.end()};
}

}  // namespace

void CheckMeans(DecodeState& state) {
    constexpr double kLimit = 0.35;
    const auto finest = static_cast<std::size_t>(state.result.finest);
    for (std::size_t set = 0; set < state.Count(); ++set) {
        if (set == finest) continue;
        const Brightness brightness = CompareBrightness(state, set);
        const double ratio = brightness.difference;
        const std::string names = NameOf(std::min(set, finest)) + " and " + NameOf(std::max(set, finest));
        const DecodeCheck check{names + ": difference of the mean brightness over the modulation", ratio, kLimit,
                                ratio <= kLimit};
        const std::string curve = check.passed ? "" : FindCurve(state);
        const std::string differ = " in their mean brightness (" + Text(ratio) + " of the modulation)";
        if (curve.empty() && brightness.IsExposure())
            Note(state.result, check,
                 names + " differ" + differ + ", " + NameOf(set) + " being " + Text(brightness.ofMeans) +
                     " times as bright as " + NameOf(finest) + ": were they taken at different exposures?");
        else
            Require(state.result, check,
                    names + " differ" + differ +
                        (curve.empty() ? ": is a frame of one set exchanged with one of the other, or did the light "
                                         "change between them?"
                                       : ", " + curve));
    }
}

std::vector<double> CheckRelations(DecodeState& state) {
    constexpr double kLeastExpected = 0.2;
    const std::vector<double> none(state.Count(), 0.0);
    if (state.Count() < 2) return none;
    const RelationTest test(state);
    std::vector<std::vector<int>> used;
    std::vector<double> means;
    std::vector<int> steps;
    for (const SineSet& set : state.axis.sines) steps.push_back(EqualSteps(set.shifts));
    for (const Relation& relation : FindRelations(test.Periods(), state.axis.length, steps)) {
        if (!relation.isShortest && !state.commonOrigins) continue;
        const double expected = test.Expected(relation.factors);
        if (expected < kLeastExpected) continue;  // the noise hides it
        CheckConcentration(state, test, relation.factors, expected);
        const double mean = std::arg(test.Mean(relation.factors)) / (2 * CV_PI);
        if (state.commonOrigins) CheckOffset(state, SetsOf(relation.factors), std::abs(mean));
        if (!relation.isShortest) continue;
        used.push_back(relation.factors);
        means.push_back(mean);
    }
    return used.empty() ? none : SolveOffsets(used, means, state.result.finest);
}

}  // namespace measure
