// Drawn phases through the unwrapper by regions.
#include <gtest/gtest.h>
#include <ipbase/voripbase.h>

#include <cmath>
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

DRAWN_TEST(Unwrap, EqualsThePlainForm, 400) {
    const KrTSize<short> size{static_cast<short>(1 + draw(draw(4) ? 40 : 90)), static_cast<short>(1 + draw(40))};
    KrBufferAOI8 phase(size), quality(size), mask(size), targetMask(size);
    for (KrBufferAOI8* image : {&phase, &quality, &mask}) test::Fill(*image, DrawSurface(draw));
    if (draw(3) == 0) test::Fill(mask, [](int, int) { return 0; });
    LiteralUnwrap plain{size.cx,
                        size.cy,
                        test::PixelsOf(phase),
                        test::PixelsOf(quality),
                        test::PixelsOf(mask),
                        draw(4) ? draw(60) : draw(256),
                        draw(4) ? draw(20) : draw(2000),
                        1 + static_cast<int>(draw(8)),
                        draw(2) != 0};
    plain.Run();
    KrBufferAOI16 target(size);
    KrBufferAOI32 labels(size);
    KrLUnWrap unwrap;
    const auto execute = [&](int mode) {
        unwrap.Execute(&phase, &quality, &mask, &target, &targetMask, static_cast<unsigned char>(plain.minQuality),
                       plain.minAreaSize, static_cast<unsigned char>(mode), plain.liftMinimum ? 1 : 0);
    };
    execute(plain.mode);
    if (draw(4) == 0) execute(9);  // there is none: it goes on with that of the run before
    unwrap.GetComponentLabels(&labels);
    ASSERT_EQ(test::PixelsOf(target), plain.target);
    ASSERT_EQ(test::PixelsOf(targetMask), plain.targetMask);
    ASSERT_EQ(test::PixelsOf(labels), plain.component);
    ASSERT_EQ(unwrap.GetComponentCount(), static_cast<unsigned>(plain.componentCount));
    ASSERT_EQ(unwrap.GetRange().lower, plain.minimum);
    ASSERT_EQ(unwrap.GetRange().upper, plain.maximum);
}

}  // namespace
