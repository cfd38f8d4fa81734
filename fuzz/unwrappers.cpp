// Drawn phases through both unwrappers.
#include <gtest/gtest.h>
#include <ipbase/voripbase.h>

#include <cmath>
#include <cstring>
#include <functional>

#include "tests/support/harness.h"
#include "tests/support/literal_unwrap.h"

namespace {

using namespace KrN;
using test::Drawing;
using Value = std::function<int(int x, int y)>;

// Noise, ramps, blocks and rings, which bring ties, plateaus and many areas.
Value DrawSurface(const Drawing& draw) {
    const int slope = static_cast<int>(draw(96)), down = static_cast<int>(draw(48)),
              side = 1 + static_cast<int>(draw(9));
    const std::uint32_t amplitude = 1 + draw(256), kind = draw(4);
    const auto random = std::make_shared<test::Random>(draw(1 << 16));
    return [=](int x, int y) {
        const int noise = static_cast<int>((*random)() % amplitude);
        switch (kind) {
            case 0: return noise;
            case 1: return x * slope + y * down + noise;
            case 2: return x / side * 37 + y / side * 91 + noise / 8;
            default: return static_cast<int>(128 + slope * std::sin(0.1 * side * std::hypot(x - 9, y - 7))) + noise / 4;
        }
    };
}

struct Scene {
    KrBufferAOI8 phase, quality, mask;
    Scene(const KrTSize<short>& size, const Drawing& draw) : phase(size), quality(size), mask(size) {
        for (KrBufferAOI8* image : {&phase, &quality, &mask}) test::Fill(*image, DrawSurface(draw));
    }
};

void CheckRegions(Scene& scene, const KrTSize<short>& size, const Drawing& draw) {
    LiteralUnwrap plain{size.cx,
                        size.cy,
                        test::PixelsOf(scene.phase),
                        test::PixelsOf(scene.quality),
                        test::PixelsOf(scene.mask),
                        draw(256),
                        draw(4) ? draw(20) : draw(2000),
                        1 + static_cast<int>(draw(8)),
                        draw(2) != 0};
    plain.Run();
    KrBufferAOI16 target(size);
    KrBufferAOI8 targetMask(size);
    KrBufferAOI32 labels(size);
    KrLUnWrap unwrap;
    unwrap.Execute(&scene.phase, &scene.quality, &scene.mask, &target, &targetMask,
                   static_cast<unsigned char>(plain.minQuality), plain.minAreaSize,
                   static_cast<unsigned char>(plain.mode), plain.liftMinimum ? 1 : 0);
    unwrap.GetComponentLabels(&labels);
    ASSERT_EQ(test::PixelsOf(target), plain.target);
    ASSERT_EQ(test::PixelsOf(targetMask), plain.targetMask);
    ASSERT_EQ(test::PixelsOf(labels), plain.component);
}

// Whole periods away from the phase, and the same on all CPU targets.
void CheckReliability(Scene& scene, const KrTSize<short>& size, const Drawing& draw) {
    const std::uint32_t least = draw(2) ? 0 : draw(50);
    for (short y = 0; y < size.cy; ++y)
        for (short x = 0; x < size.cx; ++x) scene.mask.WritePixel({x, y}, scene.mask.ReadPixel({x, y}) > 60 ? 255 : 0);
    std::vector<float> first;
    test::ForEachTarget([&](std::int64_t) {
        KrLUnWrap_Velmor unwrap;
        KrBufferAOI32Float radians(size);
        KrBufferAOI8 mask(size);
        unwrap.Execute(&scene.phase, &scene.mask, least, nullptr);
        unwrap.GetRadians(&radians, &mask);
        const std::vector<float> pixels = test::PixelsOf(radians);
        const auto phase = test::PixelsOf(scene.phase), valid = test::PixelsOf(mask);
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            const double periods = static_cast<double>(pixels[i]) / KrMath::TwoPi - phase[i] / 256.0;
            ASSERT_TRUE(valid[i] == 0 || std::abs(periods - std::round(periods)) < 1e-4) << periods;
        }
        if (first.empty()) first = pixels;
        ASSERT_EQ(first, pixels) << "another result on another CPU target";
    });
}

DRAWN_TEST(Unwrappers, EqualThePlainForm, 100) {
    const KrTSize<short> size{static_cast<short>(1 + draw(40)), static_cast<short>(1 + draw(24))};
    Scene scene(size, draw);
    CheckRegions(scene, size, draw);
    CheckReliability(scene, size, draw);
}

}  // namespace
