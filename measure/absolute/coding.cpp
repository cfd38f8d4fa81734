#include "measure/absolute/coding.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace measure {
namespace {

// Periods by which something may be off over the whole length and still count as equal.
constexpr double kMismatch = 0.05;
constexpr double kRounding = 0.01;  // periods are given with few digits
constexpr int kMostFactor = 64;

// Tries all factors of up to three sets for the shortest relation.
class RelationSearch {
public:
    RelationSearch(const std::vector<double>& periods, double length) {
        for (const double period : periods) mCounts.push_back(length / period);
    }

    // The shortest relation that holds set i with a factor that has no more in common with `steps` than `common`; no
    // factors when there is none.
    std::vector<int> ShortestOf(std::size_t i, int steps = 1, int common = 1) {
        mSteps = steps;
        mCommon = common;
        mBest.clear();
        mLeast = std::numeric_limits<int>::max();
        const std::size_t sets = mCounts.size();
        for (std::size_t j = 0; j < sets; ++j) {
            if (j == i) continue;
            TryThird(i, j, j);
            for (std::size_t l = j + 1; l < sets; ++l)
                if (l != i) TryThird(i, j, l);
        }
        return mBest;
    }

private:
    // a n_i + b n_j + c n_l = 0, where a third set l that is j itself has no factor; a is above 0.
    void TryThird(std::size_t i, std::size_t j, std::size_t l) {
        const int most = l == j ? 0 : kMostFactor;
        for (int a = 1; a <= kMostFactor && a * a < mLeast; ++a) {
            if (std::gcd(a, mSteps) > mCommon) continue;
            for (int c = -most; c <= most; ++c) {
                const double rest = a * mCounts[i] + c * mCounts[l];
                const double b = -std::nearbyint(rest / mCounts[j]);
                if (std::abs(b) > kMostFactor || std::abs(rest + b * mCounts[j]) >= kMismatch) continue;
                const int length = a * a + static_cast<int>(b * b) + c * c;
                if (length >= mLeast || (b == 0 && c == 0)) continue;
                mLeast = length;
                mBest.assign(mCounts.size(), 0);
                mBest[i] = a;
                mBest[l] = c;
                mBest[j] += static_cast<int>(b);
            }
        }
    }

    std::vector<double> mCounts;  // periods over the length
    std::vector<int> mBest;
    int mLeast = 0, mSteps = 1, mCommon = 1;
};

}  // namespace

std::optional<Ratio> FindRatio(double q, int denominator) {
    const auto a = static_cast<int>(std::lround(q * denominator));
    if (std::abs(q * denominator - a) >= kRounding || std::gcd(a, denominator) != 1 || denominator > 1000) return {};
    for (int inverse = 0; inverse < denominator; ++inverse)
        if ((a * inverse - 1) % denominator == 0) return Ratio{denominator, inverse};
    return {};
}

int FindRepeat(const std::vector<double>& periods, double length) {
    const double orders = length / periods[0];
    int near = 0;  // where the phases return as far as the periods are known
    for (int k = 1; k <= 2 * orders + 1; ++k) {
        double off = 0;  // over the whole length
        for (const double period : periods) {
            const double other = k * periods[0] / period;
            off = std::max(off, std::abs(other - std::nearbyint(other)) * std::max(orders / k, 1.0));
        }
        // They come near, too, where n - 1 of n periods meet those of another set, but then return soon after.
        if (off < kRounding && (near == 0 || k % near != 0)) return k;
        if (off < kMismatch && near == 0) near = k;
    }
    return near;
}

std::vector<Relation> FindRelations(const std::vector<double>& periods, double length, const std::vector<int>& steps) {
    std::vector<Relation> relations;
    RelationSearch search(periods, length);
    const auto add = [&](std::vector<int> factors, bool isShortest) {
        if (factors.empty()) return false;
        // The sign is free; the first factor shall be positive.
        if (*std::find_if(factors.begin(), factors.end(), [](int f) { return f != 0; }) < 0)
            for (int& f : factors) f = -f;
        const bool isNew = std::none_of(relations.begin(), relations.end(),
                                        [&](const Relation& other) { return other.factors == factors; });
        if (isNew) relations.push_back({factors, isShortest});
        return true;
    };
    for (std::size_t i = 0; i < periods.size(); ++i) add(search.ShortestOf(i), true);
    for (std::size_t i = 0; i < steps.size(); ++i)
        for (int common = 1; common < steps[i]; ++common)
            if (add(search.ShortestOf(i, steps[i], common), false)) break;
    return relations;
}

}  // namespace measure
