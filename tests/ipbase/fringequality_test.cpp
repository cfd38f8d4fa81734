// The fringe quality check: how many pixels must reach a threshold, and what is blamed when they do not.
#include <gtest/gtest.h>

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

}  // namespace
