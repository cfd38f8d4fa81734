// Colour indices of values, and the reduction of colours.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

#include "ipbase/colour/operations.h"
#include "ipbase/ipColourIndex.h"
#include "tests/support/harness.h"

namespace {

using namespace test;
using Index = KrColourIndex;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Law {
    Index::Law law;
    double lower, upper, parameter;
    int count;
};
const Law kLaws[] = {{Index::eLinear, 10, 200, 1, 255},
                     {Index::eLinear, -3.5, 1e9, 1, 7},
                     {Index::eLinear, 5, 5, 1, 9},
                     {Index::eLogarithmic, 0, 250, 100, 256},
                     {Index::eLogarithmic, -10, 70000, 3, 1},
                     {Index::eDecades, 0.5, 20000, 1, 64},
                     {Index::ePower, 0, 65535, 0.45, 200},
                     {Index::ePower, -100, 100, 2.2, 255},
                     {Index::eCyclic, 0.25, 0, 6.5, 255},
                     {Index::eCyclic, 0, 0, 256, 256}};

// As the laws are written down.
double Expected(const Law& l, double v) {
    if (std::isnan(v)) return 255;
    const auto at = [&](double f) { return std::min(std::floor(l.count * f), l.count - 1.0); };
    if (l.law == Index::eCyclic) {
        const double turns = (v - l.lower) / l.parameter;
        return std::isinf(v) ? 255 : at(turns - std::floor(turns));
    }
    if (l.lower >= l.upper) return 0;
    if (l.law == Index::eDecades)
        return v <= l.lower ? 0 : at(std::min(1.0, std::log(v / l.lower) / std::log(l.upper / l.lower)));
    const double t = std::clamp((v - l.lower) / (l.upper - l.lower), 0.0, 1.0);
    if (l.law == Index::eLinear) return at(t);
    return at(l.law == Index::ePower ? std::pow(t, l.parameter)
                                     : std::log(1 + l.parameter * t) / std::log(1 + l.parameter));
}

TEST(ColourIndex, FollowsItsLawOnEveryTarget) {
    ForEachTarget([&](std::int64_t) {
        unsigned seed = 0;
        for (const Law& l : kLaws)
            for (const DeviceType type : {eDev8, eDev16, eDev32, eDev32Float, eDev64Double}) {
                const Index index(l.law, l.lower, l.upper, l.count, l.parameter);
                ++seed;
                GuardedImage src(type, 67, 9, seed, seed % 2 ? Form::eView : Form::eRowless);
                GuardedImage dst(eDev8, 67, 9, 2, seed % 3 ? Form::eView : Form::eRowless), guards(eDev8, 67, 9, 2);
                GuardedImage mask(eDev8, 60, 8, 3);
                Random random(seed);
                if (type >= eDev32Float)
                    src.Fill([&](int x, int y) {
                        const double specials[] = {kNaN, HUGE_VAL, -HUGE_VAL, l.lower, l.upper};
                        return y == 0 && x < 5 ? specials[x]
                                               : random.Uniform(l.lower - 1, std::max(l.lower, l.upper) + 9);
                    });
                const bool masked = seed % 2 == 0;
                index.Execute(src.image.get(), dst.image.get(),
                              masked ? static_cast<const KrAOI8*>(mask.image.get()) : nullptr);
                for (int y = 0; y < 9; ++y)
                    for (int x = 0; x < 67; ++x) {
                        const double v = src.Get(x, y), got = dst.Get(x, y);
                        const bool excluded = masked && mask.Get(std::min(x, 59), std::min(y, 7)) >= 64;
                        const double want = excluded ? 255 : Expected(l, v);
                        // Logarithms and powers are rounded, which moves a border by a few last digits.
                        const bool near = !excluded && Expected(l, v * (1 - 1e-12)) != Expected(l, v * (1 + 1e-12));
                        ASSERT_LE(std::abs(got - want), near ? 1 : 0) << v << ", law " << l.law << ", type " << type;
                        guards.Set(x, y, got);
                    }
                ASSERT_EQ(guards.memory, dst.memory);
            }
    });
}

TEST(ColourIndex, TellsTheValuesOfItsIndices) {
    for (const Law& l : kLaws) {
        const Index index(l.law, l.lower, l.upper, l.count, l.parameter, 3);
        EXPECT_EQ(index.IndexOf(kNaN), 3);
        if (l.law != Index::eCyclic && l.lower >= l.upper) continue;
        for (int i = 0; i < l.count; ++i) {
            EXPECT_EQ(index.IndexOf(index.ValueOf(i)), i) << l.law;
            EXPECT_LT(index.BeginOf(i), index.ValueOf(i));
            EXPECT_LT(index.ValueOf(i), index.BeginOf(i + 1));
        }
    }
}

TEST(ColourIndex, RefusesWhatIsNoLaw) {
    const auto refuse = [](Index::Law law, double lower, double upper, int count, double parameter, int reserved) {
        EXPECT_TRUE(Thrown([=] { Index(law, lower, upper, count, parameter, reserved); })) << law << ' ' << parameter;
    };
    refuse(Index::eLinear, 0, 1, 0, 1, 255);
    refuse(Index::eLinear, 0, 1, 257, 1, 255);
    refuse(Index::eLinear, 0, 1, 9, 1, 256);
    refuse(Index::eLinear, kNaN, 1, 9, 1, 255);
    refuse(Index::eLinear, 0, HUGE_VAL, 9, 1, 255);
    refuse(Index::eDecades, 0, 1, 9, 1, 255);
    for (const double parameter : {0.0, -1.0, kNaN, HUGE_VAL})
        for (const Index::Law law : {Index::eLogarithmic, Index::ePower, Index::eCyclic})
            refuse(law, 0, 1, 9, parameter, 255);
    CheckDispatch({{L"KrColourIndex::Execute( %s, %s )", 50, "11 41 71 81 a1",
                    [](I i, C) { Index(Index::eLinear, 0, 1).Execute(i[0], i[1]); }}},
                  ColourIndexOperations(), L"C\\ipColourIndex");
}

}  // namespace
