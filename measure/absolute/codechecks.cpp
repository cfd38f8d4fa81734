#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <unordered_map>
#include <utility>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/codesteps.h"
#include "measure/absolute/wrapping.h"
#include "measure/error.h"

namespace measure {
namespace {

constexpr float kTrustedMargin = 0.2f;

// Neighbouring cells differ in one picture, in whatever order these are listed; surfaces that meet at the edge of an
// object mostly differ in more.
bool DifferInOneBit(Bits a, Bits b) {
    const Bits differ = ToGray(a) ^ ToGray(b);
    return (differ & (differ - 1)) == 0;
}

// The phases that the borders between cells have above those that they should have, summed as e^(i phase) per border.
class EdgePhases {
public:
    explicit EdgePhases(std::size_t bits) : mSums(std::size_t{1} << bits) {}
    void Add(std::size_t border, double phase) {
        mSums[border] += std::polar(1.0, phase);
        ++mCount;
    }
    // The drift, radians per cell, after whose removal the phases agree best, within `most`.
    double FindDrift(double most) const {
        const auto seen = [](const std::complex<double>& sum) { return sum != std::complex<double>(); };
        const auto first = std::find_if(mSums.begin(), mSums.end(), seen);
        const auto last = std::find_if(mSums.rbegin(), mSums.rend(), seen).base();
        if (last - first < 3) return 0;
        const double finest = 0.5 / static_cast<double>(last - first);  // the ends 0.08 periods apart
        double drift = 0, best = std::abs(Mean());
        const auto steps = static_cast<int>(std::min(most / finest, 2000.0));
        for (int i = -steps; i <= steps; ++i) {
            const double agreement = std::abs(Mean(i * finest));
            if (agreement <= best) continue;
            best = agreement;
            drift = i * finest;
        }
        return drift;
    }
    // Without a drift, radians per cell.
    std::complex<double> Mean(double drift = 0) const {
        std::complex<double> sum;
        for (std::size_t border = 0; border < mSums.size(); ++border)
            if (mSums[border] != std::complex<double>())
                sum += mSums[border] * std::polar(1.0, -drift * static_cast<double>(border));
        return sum / static_cast<double>(std::max(mCount, 1));
    }

private:
    std::vector<std::complex<double>> mSums;
    int mCount = 0;
};

// Collects the borders between cells along rows and down columns.
class StepCollector {
public:
    StepCollector(const DecodeState& state, const GrayDecoding& code)
        : mState(state), mCode(code), mEdges(state.Count(), EdgePhases(state.pictures.gray.size())) {}

    void Collect() {
        constexpr int kRows = 512;
        const cv::Size size = mCode.code.size();
        const int stride = std::max(1, size.height / kRows);
        for (int y = 0; y < size.height; y += stride)
            for (int x = 0; x < size.width; ++x) {
                if (x + 1 < size.width) Compare({x, y}, {x + 1, y});
                if (y + 1 < size.height) Compare({x, y}, {x, y + 1});
            }
    }

    int Changes() const { return mChanges; }  // of the code, of any kind
    int Count() const { return mCount; }      // borders
    int Ones() const { return mOnes; }
    int Agreeing() const { return mAgreeing; }
    std::vector<CodeSteps> Steps() const {
        std::vector<CodeSteps> steps;
        for (const auto& [kind, count] : mSteps)
            steps.push_back({static_cast<std::uint16_t>(kind >> 17), static_cast<std::uint16_t>(kind >> 1),
                             (kind & 1) != 0, count});
        return steps;
    }
    // Per set, how the borders lie against its phase.
    const EdgePhases& Edges(std::size_t set) const { return mEdges[set]; }

private:
    bool IsGood(cv::Point at) const {
        return mState.usable(at) && mCode.margin(at) >= kTrustedMargin &&
               mState.Finest().modulation(at) >= mState.leastModulation;
    }

    // By how much the phase rises over four pixels in a row, where it runs on as evenly as its noise lets it; 0
    // elsewhere: at the edge of an object any step is right. So may be the code of one pixel whose bit differs from
    // that of both its neighbours, which is noise at the threshold.
    float RiseAcross(cv::Point a, cv::Point b) const {
        const cv::Point before = a - (b - a), after = b + (b - a);
        const cv::Rect inside(cv::Point(), mCode.code.size());
        if (!inside.contains(before) || !inside.contains(after) || !mState.usable(before) || !mState.usable(after))
            return 0;
        const auto grayAt = [this](cv::Point at) { return ToGray(mCode.code(at)); };
        const Bits differing = grayAt(a) ^ grayAt(b);
        if (((grayAt(before) ^ grayAt(a)) | (grayAt(after) ^ grayAt(b))) & differing) return 0;
        const cv::Mat1f& phase = mState.Finest().phase;
        const float first = WrapRadians(phase(a) - phase(before)), middle = WrapRadians(phase(b) - phase(a)),
                    last = WrapRadians(phase(after) - phase(b));
        // What is left of ripple, and thrice the deviation of a second difference.
        constexpr double kLeastBend = 0.2, kMostBend = 0.7;
        const auto finest = static_cast<std::size_t>(mState.result.finest);
        const double variance = mState.Variance(finest, static_cast<double>(mState.Finest().modulation(a)));
        const auto bend = static_cast<float>(std::min(kMostBend, kLeastBend + 3 * std::sqrt(6 * variance)));
        return std::abs(middle - first) < bend && std::abs(last - middle) < bend ? first + middle + last : 0;
    }

    void Compare(cv::Point a, cv::Point b) {
        const int step = mCode.code(b) - mCode.code(a);
        if (step == 0) return;
        mChanges += mState.usable(a) && mState.usable(b);
        if (!DifferInOneBit(mCode.code(a), mCode.code(b))) return;
        const float rise = IsGood(a) && IsGood(b) ? RiseAcross(a, b) : 0;
        if (rise == 0) return;
        ++mCount;
        const bool rises = rise > 0;
        ++mSteps[std::uint64_t{mCode.code(a)} << 17 | std::uint64_t{mCode.code(b)} << 1 | std::uint64_t{rises}];
        if (std::abs(step) != 1) return;
        ++mOnes;
        mAgreeing += rises == (step > 0);
        const GrayCode& gray = *mState.axis.gray;
        const std::size_t border = std::max(mCode.code(a), mCode.code(b));
        const double position = static_cast<double>(border) * gray.cell + gray.offset - 0.5;
        for (std::size_t set = 0; set < mState.Count(); ++set) {
            const cv::Mat1f& of = mState.fringes[set].phase;
            const float middle = of(a) + 0.5f * WrapRadians(of(b) - of(a));
            const double predicted = 2 * CV_PI * position / mState.axis.sines[set].period;
            mEdges[set].Add(border, static_cast<double>(middle) - predicted);
        }
    }

    const DecodeState& mState;
    const GrayDecoding& mCode;
    int mChanges = 0, mCount = 0, mOnes = 0, mAgreeing = 0;
    std::unordered_map<std::uint64_t, int> mSteps;  // by code before, code after and direction of the phase
    std::vector<EdgePhases> mEdges;
};

// Borders that lie evenly about the right phase agree; a wrong period or width of the cells lets them drift.
void CheckEdges(DecodeState& state, const EdgePhases& edges, std::size_t set) {
    constexpr double kLeastConcentration = 0.5, kSure = 0.97, kLeastGain = 0.01, kFits = 0.9;
    const std::string names = "gray and " + NameOf(set);
    const double concentration = std::abs(edges.Mean()), period = state.axis.sines[set].period,
                 cell = state.axis.gray->cell;
    bool drifts = false;
    std::string likely = ": is the width of the cell or the period wrong?";
    if (concentration < kSure) {
        const double drift = edges.FindDrift(2 * CV_PI * cell / period / 3), without = std::abs(edges.Mean(drift));
        const double fitting = 1 / (1 / period + drift / (2 * CV_PI * cell));
        drifts = without > std::max(kFits, concentration + kLeastGain);
        if (drifts)
            likely = ": a period of " + Text(fitting) + " would fit, but " + Text(period) + " is given (or cells of " +
                     Text(cell * period / fitting) + " instead of " + Text(cell) + ")";
    }
    Require(state.result,
            {names + ": share of the borders of cells that fit to the phase", concentration, kLeastConcentration,
             concentration >= kLeastConcentration && !drifts},
            names + " do not fit to each other (" + Text(concentration) + " of 1)" + likely);
}

// With which frame, counted from 0, a list begins that makes the phase run ahead by so many periods; 0 for none.
std::size_t FindFirstFrame(const std::vector<double>& shifts, double ahead) {
    constexpr double kNear = 0.03;
    for (std::size_t first = 1; first < shifts.size(); ++first) {
        double off = 0;
        for (std::size_t i = 0; i < shifts.size(); ++i) {
            const double step = (shifts[(first + i) % shifts.size()] - shifts[i]) / (2 * CV_PI);
            off = std::max(off, std::abs(std::remainder(step - ahead, 1.0)));
        }
        if (off < kNear) return first;
    }
    return 0;
}

// The origin that is given against the one that the borders show; `measured` is the phase at the position 0.
void CheckOrigin(DecodeState& state, std::size_t set, double measured) {
    constexpr double kMostOffset = 0.1, kClear = 0.02;  // right ones are off by some thousandths
    const SineSet& sines = state.axis.sines[set];
    const double ahead = std::remainder((measured - state.origins[set]) / (2 * CV_PI), 1.0), off = std::abs(ahead);
    const std::string name = NameOf(set), names = "gray and " + name;
    const std::size_t first = FindFirstFrame(sines.shifts, ahead * state.axis.direction);
    const std::string rotated = first == 0 ? ""
                                           : "are the frames of " + name + " rotated, so that the list begins with " +
                                                 "number " + std::to_string(first + 1) + " of " +
                                                 std::to_string(sines.shifts.size()) + ", or ";
    const auto likely = [&](const char* key, double given, double fitting) {
        return std::string(key) + " (" + Text(given) + " is given, " + Text(fitting) + " would fit)";
    };
    const double origin = *state.axis.origin, offset = state.axis.gray->offset, columns = ahead * sines.period;
    const double limit = off > kMostOffset ? kMostOffset : kClear;
    (off > kMostOffset ? Require : Note)(
        state.result, {names + ": distance of the origins in periods", off, limit, off <= limit},
        names + " do not begin at the same place (" + Text(off) + " periods off): " + rotated + "is " +
            likely("\"origin\"", origin, origin - columns) + " or " + likely("\"offset\"", offset, offset + columns) +
            " wrong?");
}

// Where the phase runs over cells, their borders must be seen.
void RequireBorders(const DecodeState& state, int changes) {
    constexpr int kFew = 100;
    constexpr double kSure = 30;
    const Ripple& ripple = state.result.ripples[static_cast<std::size_t>(state.result.finest)];
    const double cells = ripple.periodsInView * state.periods[0] / state.axis.gray->cell;
    const double expected = cells * std::sqrt(static_cast<double>(state.result.usable));
    if (changes < kFew && expected > kSure * kFew)
        throw InputError("gray: hardly any border between its cells is seen, although the fringes run over about " +
                         Text(cells) + " of them: are its pictures dark, or of another exposure or code?");
}

}  // namespace

std::vector<double> CheckCode(DecodeState& state, const GrayDecoding& code) {
    constexpr int kFewSteps = 100;
    constexpr double kLeastOnes = 0.9, kLeastAgreeing = 0.75, kMirrored = 0.25, kLeastOfPicture = 0.5;
    StepCollector collector(state, code);
    collector.Collect();
    if (collector.Count() < kFewSteps) {
        RequireBorders(state, collector.Changes());
        return {};
    }

    const std::vector<CodeSteps> steps = collector.Steps();
    const auto bits = static_cast<int>(state.pictures.gray.size());
    const double ones = static_cast<double>(collector.Ones()) / collector.Count();
    const double agreeing = static_cast<double>(collector.Agreeing()) / std::max(collector.Ones(), 1);
    std::string slip = ExplainSteps(steps, bits, !state.pictures.inverse.empty());
    if (slip.empty() && (ones < kLeastOnes || agreeing < kLeastAgreeing)) {
        const WorstPicture stray = FindStrayPicture(steps, bits);
        if (stray.index >= 0)
            slip = CodeName(state.axis, static_cast<std::size_t>(stray.index)) +
                   " does not fit to the others: is it dark, without contrast, or of another exposure or code?";
    }
    Require(state.result,
            {"gray: share of its steps that lead to the next cell", ones, kLeastOnes,
             ones >= kLeastOnes && (slip.empty() || agreeing < kLeastAgreeing)},
            "gray: its cells do not follow each other (" + Text(ones) + " of 1, at least " + Text(kLeastOnes) +
                " are needed): " +
                (slip.empty() ? "are its pictures in the right order, the most significant bit first?" : slip));
    const std::string against =
        agreeing > kMirrored ? "is a picture of the code there twice, dark, or of another code?"
                             : "are the signs of all shifts wrong, is \"direction\" -1, or is the code mirrored, its "
                               "first picture exchanged with the inverse one?";
    Require(
        state.result,
        {"gray: share of its steps that go the way of the phase", agreeing, kLeastAgreeing, agreeing >= kLeastAgreeing},
        "gray: the code runs against the phase (" + Text(agreeing) + " of its steps go the same way, at least " +
            Text(kLeastAgreeing) + " are needed): " + (slip.empty() ? against : slip));
    const WorstPicture worst = FindWorstPicture(steps, bits);
    if (worst.index >= 0)
        Note(state.result,
             {"gray: share of the steps of any one picture that lead to the next cell", worst.share, kLeastOfPicture,
              worst.share >= kLeastOfPicture},
             CodeName(state.axis, static_cast<std::size_t>(worst.index)) + ": only " + Text(worst.share) +
                 " of its borders lead to the next cell: is it in its place in the list?");

    std::vector<double> origins;
    for (std::size_t set = 0; set < state.Count(); ++set) {
        CheckEdges(state, collector.Edges(set), set);
        origins.push_back(std::arg(collector.Edges(set).Mean()));
        if (state.axis.origin) CheckOrigin(state, set, origins.back());
    }
    return origins;
}

}  // namespace measure
