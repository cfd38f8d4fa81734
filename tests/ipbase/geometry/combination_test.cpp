// Two images put together.
#include <gtest/gtest.h>

#include <cmath>

#include "ipbase/geometry/operations.h"
#include "ipbase/ipLCombination.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

thread_local KrLCombination combination;

double Rounded(double v, const Context& x) {
    return x.types.back() >= eDev32Float ? v : Clip(std::floor(v + 0.5), x.types.back());
}

// clang-format off
const std::vector<OpCase> kCases = {
    {L"Insert( %s, %s, %d, %d )", 50, "11 44 77 88 aa", [](I i, C) { combination.Insert(i[0], i[1], 3, 4); }, nullptr,
     {{3, 4}}},
    {L"Select( %s, %s, %s, %s )", 90, "1111 4414 7717 8818 aa1a",
     [](I i, C) { combination.Select(i[0], i[1], i[2], i[3]); },
     [](P p, X) { return p[2] < 64 ? p[0] : p[1]; }, {{}}, true},
    {L"Blend( %s, %s, %s, %s )", 130, "1111 4414 8818 aa1a",
     [](I i, C) { combination.Blend(i[0], i[1], i[2], i[3]); },
     [](P p, X x) {
         return Rounded((p[0] * (255 - p[2]) + p[1] * p[2]) / 255, x);
     }, {{}}, true},
    {L"MergeExposures( %s, %s, %g, %g )", 170, "111 114 118 444 448 888",
     [](I i, C c) { combination.MergeExposures(i[0], i[1], c[0], c[1], i[2]); },
     [](P p, X x) { return p[0] >= x.c[0] ? Rounded(p[1] * x.c[1], x) : p[0]; },
     {{200, 4}, {30000, 2.5}, {-1, -1}, {1e9, 7}, {0, 1e300}}, true},
};
// clang-format on

const Listed kListed(kCases);

TEST(Combination, DispatchAndErrors) {
    CheckDispatch(kCases, CombinationOperations(), L"C\\ipLCombination");
    GuardedImage image(eDev8, 5, 5, 1);
    KrAOI* const same = image.image.get();
    EXPECT_TRUE(Thrown([&] { combination.MergeExposures(same, same, std::nan(""), 1, same); }));
    EXPECT_TRUE(Thrown([&] { combination.MergeExposures(same, same, 1, std::nan(""), same); }));
}

TEST(Combination, PixelsOnEveryTarget) { CheckPixels(kCases); }

DRAWN_TEST(Combination, InsertsWhatTheMaskAdmits, 500) {
    const DeviceType types[] = {eDev8, eDev16, eDev32, eDev32Float, eDev64Double};
    const DeviceType type = Drawn(draw, types);
    const auto shift = [&] { return static_cast<int>(draw(40)) - 20; };
    const std::pair<int, int> far[] = {{100, 0}, {2147483647, -2147483647 - 1}, {0, 0}};
    const auto [dx, dy] = draw(8) ? std::pair{shift(), shift()} : Drawn(draw, far);
    const bool masked = draw(2) != 0;
    const auto side = [&] { return 1 + static_cast<int>(draw(24)); };
    const int w = side(), h = side(), dw = side(), dh = side(), mw = side(), mh = side();
    const auto form = [&] { return static_cast<Form>(draw(3)); };
    GuardedImage src(type, w, h, draw(1 << 16), form()), mask(eDev8, mw, mh, 3, form());
    GuardedImage dst(type, dw, dh, 2, form()), want(type, dw, dh, 2);
    combination.Insert(src.image.get(), dst.image.get(), dx, dy,
                       masked ? static_cast<const KrAOI8*>(mask.image.get()) : nullptr);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const std::int64_t u = std::int64_t{x} + dx, v = std::int64_t{y} + dy;
            if (u < 0 || v < 0 || u >= dw || v >= dh) continue;
            if (masked && mask.Get(std::min(x, mw - 1), std::min(y, mh - 1)) >= 64) continue;
            want.Set(static_cast<int>(u), static_cast<int>(v), src.Get(x, y));
        }
    ASSERT_EQ(want.memory, dst.memory) << type << ' ' << dx << ' ' << dy << ' ' << masked;
}

}  // namespace
