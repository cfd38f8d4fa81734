#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <utility>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/checks.h"
#include "measure/absolute/wrapping.h"

namespace measure {
namespace {

constexpr float kTrustedMargin = 0.2f;

// A pair of neighbours on both sides of a border between cells.
struct CodeStep {
    std::uint16_t before, after;
    bool rises;  // the phase
};

using Bits = unsigned int;

Bits ToGray(Bits code) { return code ^ (code >> 1); }

Bits FromGray(Bits gray) {
    Bits code = 0;
    for (; gray; gray >>= 1) code ^= gray;
    return code;
}

// Neighbouring cells differ in one picture, in whatever order these are listed; surfaces that meet at the edge of an
// object mostly differ in more.
bool DifferInOneBit(Bits a, Bits b) {
    const Bits differ = ToGray(a) ^ ToGray(b);
    return (differ & (differ - 1)) == 0;
}

// Collects the borders between cells along rows and down columns.
class StepCollector {
public:
    StepCollector(const DecodeState& state, const GrayDecoding& code)
        : mState(state), mCode(code), mEdges(state.Count()) {}

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

    int Count() const { return mCount; }
    int Ones() const { return mOnes; }
    int Agreeing() const { return mAgreeing; }
    const std::vector<CodeStep>& Steps() const { return mSteps; }
    // Per set, the mean of e^(i (phase - phase that the border has by the code)).
    std::complex<double> Edge(std::size_t set) const { return mEdges[set] / static_cast<double>(std::max(mOnes, 1)); }

private:
    bool IsGood(cv::Point at) const {
        return mState.usable(at) && mCode.margin(at) >= kTrustedMargin &&
               mState.Finest().modulation(at) >= mState.leastModulation;
    }

    // Whether the phase runs on over four pixels in a row as evenly as its noise lets it; at the edge of an object any
    // step is right.
    bool IsEven(cv::Point a, cv::Point b) const {
        const cv::Point before = a - (b - a), after = b + (b - a);
        const cv::Rect inside(cv::Point(), mCode.code.size());
        if (!inside.contains(before) || !inside.contains(after) || !mState.usable(before) || !mState.usable(after))
            return false;
        const cv::Mat1f& phase = mState.Finest().phase;
        const float first = WrapRadians(phase(a) - phase(before)), middle = WrapRadians(phase(b) - phase(a)),
                    last = WrapRadians(phase(after) - phase(b));
        // What is left of ripple, and thrice the deviation of a second difference.
        constexpr double kLeastBend = 0.2, kMostBend = 0.7;
        const auto finest = static_cast<std::size_t>(mState.result.finest);
        const double variance = mState.Variance(finest, static_cast<double>(mState.Finest().modulation(a)));
        const auto bend = static_cast<float>(std::min(kMostBend, kLeastBend + 3 * std::sqrt(6 * variance)));
        return std::abs(middle - first) < bend && std::abs(last - middle) < bend;
    }

    void Compare(cv::Point a, cv::Point b) {
        constexpr std::size_t kMostSteps = 20000;
        const int step = mCode.code(b) - mCode.code(a);
        if (step == 0 || !DifferInOneBit(mCode.code(a), mCode.code(b))) return;
        if (!IsGood(a) || !IsGood(b) || !IsEven(a, b)) return;
        ++mCount;
        const cv::Mat1f& phase = mState.Finest().phase;
        const bool rises = WrapRadians(phase(b) - phase(a)) > 0;
        if (mSteps.size() < kMostSteps) mSteps.push_back({mCode.code(a), mCode.code(b), rises});
        if (std::abs(step) != 1) return;
        ++mOnes;
        mAgreeing += rises == (step > 0);
        const GrayCode& gray = *mState.axis.gray;
        const double position = std::max(mCode.code(a), mCode.code(b)) * gray.cell + gray.offset - 0.5;
        for (std::size_t set = 0; set < mState.Count(); ++set) {
            const cv::Mat1f& of = mState.fringes[set].phase;
            const float middle = of(a) + 0.5f * WrapRadians(of(b) - of(a));
            const double predicted = 2 * CV_PI * position / mState.axis.sines[set].period;
            mEdges[set] += std::polar(1.0, static_cast<double>(middle) - predicted);
        }
    }

    const DecodeState& mState;
    const GrayDecoding& mCode;
    int mCount = 0, mOnes = 0, mAgreeing = 0;
    std::vector<CodeStep> mSteps;
    std::vector<std::complex<double>> mEdges;
};

// Finds the slip in listing the pictures after whose correction the code runs with the phase, step by step.
class SlipSearch {
public:
    SlipSearch(const std::vector<CodeStep>& steps, int bits, bool hasInverse)
        : mSteps(steps), mBits(bits), mHasInverse(hasInverse) {}

    std::string Explain() {
        Consider([&](Bits gray) { return Reversed(gray); }, "the least significant bit looks listed first");
        for (int a = 0; a < mBits; ++a)
            for (int b = a + 1; b < mBits; ++b)
                Consider(
                    [&](Bits gray) { return Exchanged(gray, a, b); },
                    "gray.frames[" + std::to_string(a) + "] and gray.frames[" + std::to_string(b) + "] look exchanged");
        if (mHasInverse) {
            Consider([&](Bits gray) { return ~gray & ((1u << mBits) - 1); },
                     "the pictures and their inverse ones look exchanged");
            // The first picture mirrors the whole code; so do wrong signs of the shifts.
            for (int a = 1; a < mBits; ++a)
                Consider([&](Bits gray) { return gray ^ (1u << (mBits - 1 - a)); },
                         "gray.frames[" + std::to_string(a) + "] and its inverse picture look exchanged");
        }
        return mBest >= 0.9 ? mText : "";
    }

private:
    template <class Change>
    void Consider(const Change& change, const std::string& text) {
        int ones = 0;
        for (const CodeStep& step : mSteps) {
            const auto before = static_cast<int>(FromGray(change(ToGray(step.before))));
            const auto after = static_cast<int>(FromGray(change(ToGray(step.after))));
            ones += after - before == (step.rises ? 1 : -1);
        }
        const double share = ones / static_cast<double>(std::max<std::size_t>(mSteps.size(), 1));
        if (share <= mBest) return;
        mBest = share;
        mText = text;
    }

    // Picture i holds bit mBits - 1 - i.
    Bits Reversed(Bits gray) const {
        Bits reversed = 0;
        for (int i = 0; i < mBits; ++i) reversed |= ((gray >> i) & 1) << (mBits - 1 - i);
        return reversed;
    }
    Bits Exchanged(Bits gray, int a, int b) const {
        const int i = mBits - 1 - a, j = mBits - 1 - b;
        const Bits differ = ((gray >> i) ^ (gray >> j)) & 1;
        return gray ^ (differ << i) ^ (differ << j);
    }

    const std::vector<CodeStep>& mSteps;
    int mBits;
    bool mHasInverse;
    double mBest = 0;
    std::string mText;
};

}  // namespace

CodeEdges CheckCode(DecodeState& state, const GrayDecoding& code) {
    constexpr int kFewSteps = 100;
    constexpr double kLeastOnes = 0.9, kLeastAgreeing = 0.5, kLeastConcentration = 0.5;
    StepCollector steps(state, code);
    steps.Collect();
    CodeEdges edges;
    edges.count = steps.Ones();
    if (steps.Count() < kFewSteps) return edges;

    const double ones = static_cast<double>(steps.Ones()) / steps.Count();
    const double agreeing = static_cast<double>(steps.Agreeing()) / std::max(steps.Ones(), 1);
    std::string slip;
    if (ones < kLeastOnes || agreeing < kLeastAgreeing)
        slip = SlipSearch(steps.Steps(), static_cast<int>(state.pictures.gray.size()), !state.pictures.inverse.empty())
                   .Explain();
    Require(state.result, {"gray: share of its steps that lead to the next cell", ones, kLeastOnes, ones >= kLeastOnes},
            "gray: its cells do not follow each other (" + Text(ones) + " of 1): " +
                (slip.empty() ? "are its pictures in the right order, the most significant bit first?" : slip));
    Require(
        state.result,
        {"gray: share of its steps that go the way of the phase", agreeing, kLeastAgreeing, agreeing >= kLeastAgreeing},
        "gray: the code runs against the phase (" + Text(agreeing) + " of its steps go the same way): " +
            (slip.empty() ? "are the signs of all shifts wrong, is \"direction\" -1, or is the code mirrored, its "
                            "first picture exchanged with the inverse one?"
                          : slip));

    for (std::size_t set = 0; set < state.Count(); ++set) {
        const double concentration = std::abs(steps.Edge(set));
        Require(state.result,
                {"gray and " + NameOf(set) + ": share of the borders of cells that fit to the phase", concentration,
                 kLeastConcentration, concentration >= kLeastConcentration},
                "gray and " + NameOf(set) + " do not fit to each other (" + Text(concentration) +
                    " of 1): is the width of the cell or the period wrong?");
        edges.origins.push_back(std::arg(steps.Edge(set)));
    }
    return edges;
}

}  // namespace measure
