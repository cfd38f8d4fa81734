#include "measure/absolute/codesteps.h"

#include <algorithm>
#include <cstdlib>

namespace measure {
namespace {

class SlipSearch {
public:
    SlipSearch(const std::vector<CodeSteps>& steps, int bits, bool hasInverse)
        : mSteps(steps), mBits(bits), mHasInverse(hasInverse) {}

    std::string Explain() {
        for (const CodeSteps& step : mSteps) mCount += step.count;
        const auto same = [](Bits gray) { return gray; };
        // A slip explains what a few borders, seen on many lines, do not do; edges of objects may look like one on
        // some.
        const int least = std::max(30, mCount / 1000);
        mBest = std::max(Ones(same, 1), Ones(same, -1)) + least;
        if (mBest >= mCount) return {};  // as in all right scans: nothing explains more
        Consider([&](Bits gray) { return Reversed(gray); }, "the least significant bit looks listed first");
        for (int a = 0; a < mBits; ++a)
            for (int b = a + 1; b < mBits; ++b)
                Consider([&](Bits gray) { return Exchanged(gray, a, b); },
                         NameOf(a) + " and " + NameOf(b) + " look exchanged");
        if (mHasInverse) {
            Consider([&](Bits gray) { return ~gray & ((1u << mBits) - 1); },
                     "the pictures and their inverse ones look exchanged");
            // The first picture mirrors the whole code; so do wrong signs of the shifts.
            for (int a = 1; a < mBits; ++a)
                Consider([&](Bits gray) { return gray ^ (1u << (mBits - 1 - a)); },
                         NameOf(a) + " and its inverse picture look exchanged");
        }
        return mBest >= 0.9 * mCount ? mText : "";
    }

private:
    static std::string NameOf(int picture) { return "gray.frames[" + std::to_string(picture) + "]"; }

    // Steps to the next cell where the phase rises, to the one before where it falls; the other way round for sign -1.
    template <class Change>
    int Ones(const Change& change, int sign) const {
        int ones = 0;
        for (const CodeSteps& step : mSteps) {
            const auto before = static_cast<int>(FromGray(change(ToGray(step.before))));
            const auto after = static_cast<int>(FromGray(change(ToGray(step.after))));
            ones += after - before == (step.rises ? sign : -sign) ? step.count : 0;
        }
        return ones;
    }

    template <class Change>
    void Consider(const Change& change, const std::string& text) {
        const int ones = Ones(change, 1);
        if (ones <= mBest) return;
        mBest = ones;
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

    const std::vector<CodeSteps>& mSteps;
    int mBits;
    bool mHasInverse;
    int mCount = 0, mBest = 0;
    std::string mText;
};

}  // namespace

Bits ToGray(Bits code) { return code ^ (code >> 1); }

Bits FromGray(Bits gray) {
    Bits code = 0;
    for (; gray; gray >>= 1) code ^= gray;
    return code;
}

std::string ExplainSteps(const std::vector<CodeSteps>& steps, int bits, bool hasInverse) {
    return SlipSearch(steps, bits, hasInverse).Explain();
}

WorstPicture FindStrayPicture(const std::vector<CodeSteps>& steps, int bits) {
    constexpr int kEnough = 100;
    constexpr double kLeastShare = 0.95, kFew = 0.01, kFits = 0.9;
    WorstPicture stray{-1, kLeastShare};
    bool isBlank = false;  // without borders of its own; the picture before such a one may be taken for it
    for (int picture = 0; picture < bits; ++picture) {
        const Bits own = 1u << (bits - 1 - picture);
        int others = 0, ones = 0, turned = 0, borders = 0, fitting = 0;
        for (const CodeSteps& step : steps) {
            const Bits before = ToGray(step.before), after = ToGray(step.after);
            if ((before ^ after) == own) {
                borders += step.count;
                fitting += std::abs(step.after - step.before) == 1 ? step.count : 0;
                continue;
            }
            const auto leads = [&](Bits bit) {
                const Bits from = FromGray((before & ~own) | bit), to = FromGray((after & ~own) | bit);
                return step.rises ? to == from + 1 : from == to + 1;
            };
            others += step.count;
            ones += leads(0) || leads(own) ? step.count : 0;
            turned += leads(~before & own) ? step.count : 0;
        }
        // No picture is to blame where its own borders fit, or where it would have to be the inverse one everywhere:
        // the first one turns the code round, and so explains any direction of any step.
        if (turned >= kLeastShare * others) continue;
        const double share = ones / static_cast<double>(std::max(others, 1));
        const bool hasNone = borders < kFew * others;
        if (!hasNone && fitting > kFits * borders) continue;
        if (others < kEnough || share < kLeastShare || (isBlank && !hasNone)) continue;
        if (share <= stray.share && isBlank == hasNone) continue;
        stray = {picture, share};
        isBlank = hasNone;
    }
    return stray;
}

WorstPicture FindWorstPicture(const std::vector<CodeSteps>& steps, int bits) {
    constexpr int kEnough = 100;
    WorstPicture worst;
    for (int picture = 0; picture < bits; ++picture) {
        int count = 0, ones = 0;
        for (const CodeSteps& step : steps) {
            if ((ToGray(step.before) ^ ToGray(step.after)) != 1u << (bits - 1 - picture)) continue;
            count += step.count;
            ones += std::abs(step.after - step.before) == 1 ? step.count : 0;
        }
        const double share = ones / static_cast<double>(std::max(count, 1));
        if (count >= kEnough && (worst.index < 0 || share < worst.share)) worst = {picture, share};
    }
    return worst;
}

}  // namespace measure
