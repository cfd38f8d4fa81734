// The fringe quality check: how many pixels must reach a threshold, and what is blamed when they do not.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "ipbase/ipFringeQualityCheck.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

// `above` pixels of 100, the others 99; all inside the mask unless stated otherwise.
struct Pixels {
    KrBufferAOI8 image, mask;
    Pixels(short above, short total) : image({total, 1}), mask({total, 1}) {
        for (short x = 0; x < total; ++x) *image.GetPointer({x, 0}) = x < above ? 100 : 99;
    }
};

TEST(FringeQuality, LimitOfReachingPixels) {
    const std::tuple<short, short, unsigned char, bool> limits[] = {
        // above, total, percent, reached
        {0, 0, 255, true},      {0, 3, 0, true},        {1, 3, 50, false},     {2, 3, 50, true},
        {0, 1, 49, true},       {0, 1, 50, false},      {99, 100, 100, false}, {100, 100, 100, true},
        {100, 100, 101, false}, {100, 100, 255, false}, {33, 100, 33, true},   {32, 100, 33, false},
        {1, 200, 1, false},     {2, 200, 1, true},
    };
    for (const auto& [above, total, percent, reached] : limits) {
        const Pixels p(above, total);
        KrFringeQualityCheck contrast, intensity;
        contrast.Init({1, 1}, 100, percent, 255, 255);
        intensity.Init({1, 1}, 255, 255, 100, percent);
        SCOPED_TRACE(::testing::Message() << above << " of " << total << ", " << int{percent} << " %");
        EXPECT_EQ(reached ? QualityOk : QualityLowContrast, contrast.CheckContrast(&p.image, &p.mask));
        EXPECT_EQ(reached ? QualityOk : QualityLowIntensity, intensity.CheckIntensity(&p.image, &p.mask));
    }
}

TEST(FringeQuality, MaskAndSampling) {
    Pixels p(3, 12);
    KrFringeQualityCheck check;
    EXPECT_FALSE(check.IsInitialised());
    EXPECT_EQ(QualityOk, check.Execute(&p.image, &p.image, &p.mask));  // without Init everything passes
    check.Init({1, 1}, 100, 100, 100, 100);
    EXPECT_EQ(QualityLowContrast, check.CheckContrast(&p.image, &p.mask));
    for (short x = 3; x < 12; ++x) *p.mask.GetPointer({x, 0}) = 64;
    EXPECT_EQ(QualityOk, check.CheckContrast(&p.image, &p.mask));
    *p.mask.GetPointer({11, 0}) = 63;
    EXPECT_EQ(QualityLowContrast, check.CheckContrast(&p.image, &p.mask));
    check.Init({4, 1}, 100, 100, 100, 100);  // columns 0, 4 and 8, of which only the first is inside
    EXPECT_EQ(QualityOk, check.CheckContrast(&p.image, &p.mask));
    const KrFringeQualityCheck copy = check;
    EXPECT_TRUE(copy.IsInitialised());
    EXPECT_EQ(1u, copy[100]);
    EXPECT_EQ(QualityOk, check.Execute(nullptr, &p.image, &p.mask));  // the intensity is not looked at
    const auto error = Thrown([&] { check.CheckIntensity(&p.image, nullptr); });
    ASSERT_TRUE(error && dynamic_cast<KrNotImplementedException*>(error.get()));
    EXPECT_EQ(128, error->GetLine());
}

// Counted pixel by pixel.
DRAWN_TEST(FringeQuality, EqualsAPlainCount, 1000) {
    const int cx = static_cast<int>(draw(30)), cy = static_cast<int>(draw(9));
    const Form form = draw(4) ? Form::eView : Form::eRowless;
    const KrTPoint<short> step{static_cast<short>(draw(4)), static_cast<short>(draw(4))};
    GuardedImage contrast(eDev8, cx, cy, draw(1 << 16), form), intensity(eDev8, cx, cy, draw(1 << 16), form);
    GuardedImage mask(eDev8, cx + static_cast<int>(draw(2)), cy, draw(1 << 16), form);
    const std::array<std::uint8_t, 4> limits = {
        static_cast<std::uint8_t>(draw(256)), static_cast<std::uint8_t>(draw(110)),
        static_cast<std::uint8_t>(draw(256)), static_cast<std::uint8_t>(draw(110))};
    const auto reached = [&](const GuardedImage& image, std::size_t which) {
        const auto pixels = Sampled(image, &mask, step);
        const auto above = std::count_if(pixels.begin(), pixels.end(), [&](double v) { return v >= limits[which]; });
        const auto all = static_cast<float>(pixels.size());
        return above >= std::lround(std::floor(limits[which + 1] * all / 100.0f + 0.5f));
    };
    KrFringeQualityCheck check;
    check.Init(step, limits[0], limits[1], limits[2], limits[3]);
    const auto* const seen = static_cast<const KrAOI8*>(contrast.image.get());
    const auto* const lit = static_cast<const KrAOI8*>(intensity.image.get());
    const auto* const inside = static_cast<const KrAOI8*>(mask.image.get());
    const bool isSeen = reached(contrast, 0), isLit = reached(intensity, 2);
    EXPECT_EQ(isSeen ? QualityOk : QualityLowContrast, check.CheckContrast(seen, inside));
    EXPECT_EQ(isLit ? QualityOk : QualityLowIntensity, check.CheckIntensity(lit, inside));
    EXPECT_EQ(isSeen ? QualityOk : isLit ? QualityLowContrast : QualityLowIntensity, check.Execute(lit, seen, inside));
}

}  // namespace
