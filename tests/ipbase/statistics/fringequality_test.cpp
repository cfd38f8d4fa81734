// The fringe quality check: how many pixels must reach a threshold, and what is blamed when they do not.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "ipbase/ipFringeQualityCheck.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

TEST(FringeQuality, NeedsInitAndMask) {
    KrBufferAOI8 image({12, 1}), mask({12, 1});
    KrFringeQualityCheck check;
    EXPECT_FALSE(check.IsInitialised());
    EXPECT_EQ(QualityOk, check.Execute(&image, &image, &mask));  // without Init everything passes
    check.Init({4, 1}, 0, 100, 100, 100);
    EXPECT_EQ(QualityOk, check.CheckContrast(&image, &mask));
    const KrFringeQualityCheck copy = check;
    EXPECT_TRUE(copy.IsInitialised());
    EXPECT_EQ(3u, copy[0]);
    EXPECT_EQ(QualityOk, check.Execute(nullptr, &image, &mask));  // the intensity is not looked at
    ExpectNotImplemented([&] { check.CheckIntensity(&image, nullptr); }, L"C\\ipLHistogram", 128, L"");
}

// Counted pixel by pixel.
DRAWN_TEST(FringeQuality, EqualsAPlainCount, 3000) {
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
