#include "measure/absolute/sharedripple.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "measure/absolute/coding.h"
#include "measure/absolute/noise.h"
#include "measure/fringe/correctripple.h"

namespace measure {
namespace {

// Amplitudes of sine and cosine of N and 2 N times the phase, radians.
using Parameters = std::array<float, 4>;

class RippleSearch {
public:
    // For the sets that have this ripple.
    RippleSearch(const DecodeState& state, int steps, const std::vector<bool>& haveIt) {
        constexpr std::size_t kMostPixels = 1500;
        std::vector<double> periods;
        for (const SineSet& set : state.axis.sines) periods.push_back(set.period);
        const std::size_t stride = std::max<std::size_t>(1, state.best.size() / kMostPixels);
        for (const Relation& relation : FindRelations(periods, state.axis.length)) {
            const int reach = IsHidden(state, relation) ? 1 : 0;
            for (std::size_t i = 0; i < state.best.size(); i += stride)
                AddTerm(state, relation, state.best[i], steps, haveIt, reach);
        }
    }

    Parameters Find() const {
        constexpr float kMost = 0.4f, kStep = 0.04f;
        Parameters best{};
        float bestGain = Gain(best);
        const auto consider = [&](const Parameters& trial) {
            const float gain = Gain(trial);
            if (gain <= bestGain) return;
            bestGain = gain;
            best = trial;
        };
        for (float a = -kMost; a <= kMost; a += kStep)
            for (float b = -kMost; b <= kMost; b += kStep)
                if (std::hypot(a, b) <= kMost) {
                    consider({a, b, 0, 0});
                    // One harmonic that is mistaken for the fringes, as gamma makes it for three steps, leaves its
                    // square, too.
                    consider({a, b, a * a - b * b, 2 * a * b});
                }
        for (float step = kStep / 2; step > 1e-3f; step /= 2)
            for (int round = 0; round < 3; ++round)
                for (std::size_t i = 0; i < best.size(); ++i)
                    for (const float change : {-step, step}) {
                        Parameters trial = best;
                        trial[i] += change;
                        consider(trial);
                    }
        return best;
    }

    // How well the phases fit to each other, -1 to 1.
    float Fit(const Parameters& p) const {
        float sum = 0;
        for (const Term& term : mTerms) {
            float angle = term.angle;
            for (std::size_t i = 0; i < p.size(); ++i) angle += p[i] * term.effect[i];
            sum += std::cos(angle);
        }
        return sum / static_cast<float>(std::max<std::size_t>(mTerms.size(), 1));
    }

    // What noise leaves of a perfect fit.
    float Expected() const { return mExpected / static_cast<float>(std::max<std::size_t>(mTerms.size(), 1)); }

private:
    // sum of factor · phase, and by how much each parameter changes it.
    struct Term {
        float angle;
        Parameters effect;
    };

    // Whether noise leaves so little of a relation that the phases of some pixels together must tell it.
    static bool IsHidden(const DecodeState& state, const Relation& relation) {
        constexpr double kMuch = 0.5;  // radians squared
        double variance = 0;
        for (std::size_t set = 0; set < relation.factors.size(); ++set)
            variance += relation.factors[set] * relation.factors[set] *
                        state.Variance(set, static_cast<double>(state.leastModulation));
        return variance > kMuch;
    }

    void AddTerm(const DecodeState& state, const Relation& relation, cv::Point at, int steps,
                 const std::vector<bool>& haveIt, int reach) {
        Term term{};
        double variances = 0;
        for (std::size_t set = 0; set < relation.factors.size(); ++set) {
            if (relation.factors[set] == 0) continue;
            const auto factor = static_cast<float>(relation.factors[set]);
            double variance = 0;
            const float phase = SamplePhase(state, set, at, variance, reach);
            term.angle += factor * phase;
            variances += relation.factors[set] * relation.factors[set] * variance;
            for (std::size_t i = 0; haveIt[set] && i < 2; ++i) {
                const float multiple = static_cast<float>(steps) * static_cast<float>(i + 1) * phase;
                term.effect[2 * i] += factor * std::sin(multiple);
                term.effect[2 * i + 1] += factor * std::cos(multiple);
            }
        }
        mTerms.push_back(term);
        mExpected += static_cast<float>(std::exp(-0.5 * variances));
    }

    // Of two that fit alike the smaller one.
    float Gain(const Parameters& p) const { return Fit(p) - 0.2f * std::hypot(p[0], p[1]) - std::hypot(p[2], p[3]); }

    std::vector<Term> mTerms;
    float mExpected = 0;
};

// Adds a ripple to those of some sets, and corrects it.
void Correct(DecodeState& state, const Parameters& found, const std::vector<bool>& haveIt) {
    for (std::size_t set = 0; set < state.Count(); ++set) {
        if (!haveIt[set]) continue;
        Ripple& ripple = state.result.ripples[set];
        Ripple more = ripple;
        more.known = ripple.known = true;
        more.amplitude = ripple.amplitude = 0;
        for (std::size_t i = 0; i < 2; ++i) {
            more.sines[i] = static_cast<double>(found[2 * i]);
            more.cosines[i] = static_cast<double>(found[2 * i + 1]);
            ripple.sines[i] += more.sines[i];
            ripple.cosines[i] += more.cosines[i];
            more.amplitude = std::max(more.amplitude, std::hypot(more.sines[i], more.cosines[i]));
            ripple.amplitude = std::max(ripple.amplitude, std::hypot(ripple.sines[i], ripple.cosines[i]));
        }
        CorrectRipple(state.fringes[set], state.means[set], more);
    }
}

}  // namespace

bool CorrectSharedRipple(DecodeState& state) {
    constexpr float kLeastGain = 0.05f, kFitsWell = 0.9f;
    const std::vector<Ripple>& ripples = state.result.ripples;
    std::vector<bool> haveIt(state.Count());
    int own = 0;
    for (std::size_t set = 0; set < state.Count(); ++set) {
        if (ripples[set].harmonics.size() != 2 || state.axis.sines[set].shifts != state.axis.sines[0].shifts ||
            state.frames[set].IsSpoilt())
            return false;
        haveIt[set] = ripples[set].periodsInView < Ripple::kLeastPeriodsInView || !ripples[set].known;
        own += !haveIt[set];
    }
    if (own == static_cast<int>(state.Count())) return false;
    const RippleSearch search(state, ripples[0].harmonics[0], haveIt);
    if (own > 0 && search.Fit({}) > kFitsWell * search.Expected()) return false;
    const Parameters found = search.Find();
    if (search.Fit(found) < search.Fit({}) + kLeastGain) return false;
    Correct(state, found, haveIt);
    return true;
}

}  // namespace measure
