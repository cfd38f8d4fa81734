#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "ipbase/ipLUnwrap.h"
#include "tests/support/harness.h"

namespace KrN {
namespace {

using test::Fill;
using test::PixelsOf;
using Value = std::function<int(int x, int y)>;

// The operands of one run.
struct Scene {
    KrTSize<short> size;
    KrBufferAOI8 phase{size}, quality{size}, mask{size}, targetMask{size};
    KrBufferAOI16 target{size};

    Scene(short width, short height, const Value& p, const Value& q, const Value& m) : size{width, height} {
        Fill(phase, p);
        Fill(quality, q);
        Fill(mask, m);
    }
    void Execute(KrLUnWrap& unwrap, unsigned char minQuality = 0, unsigned minAreaSize = 0, unsigned char mode = 1,
                 int centre = 0) {
        unwrap.Execute(&phase, &quality, &mask, &target, &targetMask, minQuality, minAreaSize, mode, centre);
    }
    int At(int x, int y) const { return target.ReadPixel({static_cast<short>(x), static_cast<short>(y)}); }
    int MaskAt(int x, int y) const { return targetMask.ReadPixel({static_cast<short>(x), static_cast<short>(y)}); }
};

// Two ramps of five periods, separated by an excluded column that carries other mask bits too.
Scene TwoRamps() {
    const auto mask = [](int x, int) { return x == 40 ? 0x81 : 0x43; };
    return {81, 20, [](int x, int) { return x * 32; }, [](int, int) { return 200; }, mask};
}

const Value kOpen = [](int, int) { return 0; };

TEST(Unwrap, MovesAndDeletesWholeComponents) {
    Scene scene = TwoRamps();
    KrLUnWrap unwrap;
    scene.Execute(unwrap, 10, 100);
    ASSERT_EQ(unwrap.GetComponentCount(), 2u);
    EXPECT_EQ(scene.At(39, 7), 39 * 32);
    EXPECT_EQ(scene.At(40, 7), 0);
    EXPECT_EQ(scene.MaskAt(40, 7), 0xC1);
    EXPECT_EQ(scene.MaskAt(41, 7), 0x03);
    const int other = scene.At(60, 7);

    unwrap.SetZeroPoint(20, 7);
    EXPECT_EQ(unwrap.GetRange().lower, -20 * 32);
    EXPECT_EQ(unwrap.GetOrder(0, 0), -3);
    unwrap.SetZeroPoint(40, 7);  // excluded: nothing
    EXPECT_EQ(unwrap.GetRange().lower, -20 * 32);

    unwrap.AddOrder(60, 7, 3);
    EXPECT_EQ(scene.At(60, 7), other + 3 * 256);
    EXPECT_EQ(scene.At(39, 7), 39 * 32);
    unwrap.AddOrder(39, 7, -1);
    EXPECT_EQ(scene.At(39, 7), 39 * 32);  // now the smallest value is one period lower
    EXPECT_EQ(scene.At(60, 7), other + 4 * 256);

    KrLUnWrap copy(unwrap);
    unwrap.DelArea(0, 0);
    EXPECT_EQ(unwrap.GetComponentCount(), 1u);
    EXPECT_EQ(copy.GetComponentCount(), 2u);
    EXPECT_FALSE(unwrap.IsValidArea(39, 7));
    EXPECT_TRUE(copy.IsValidArea(39, 7));
    EXPECT_EQ(scene.At(39, 7), 0);
    EXPECT_EQ(scene.MaskAt(39, 7), 0x43);
    EXPECT_EQ(scene.At(41, 7), 0);
    unwrap.DelArea(0, 0);
    unwrap.DelArea(65535, 65535);
    unwrap.AddOrder(81, 7, 1);
    unwrap.SetZeroPoint(0, 20);
    EXPECT_EQ(unwrap.GetComponentCount(), 1u);
    EXPECT_EQ(unwrap.GetOrder(81, 0), 0);
    EXPECT_FALSE(unwrap.IsValidArea(0, 20));
    unwrap.DelArea(60, 0);
    EXPECT_EQ(unwrap.GetRange().lower, 0);
    EXPECT_EQ(unwrap.GetRange().upper, 0);

    copy.AddOrder(0, 0, 0);  // the copy shares the targets of its original
    EXPECT_EQ(scene.At(39, 7), 39 * 32);
}

TEST(Unwrap, ResultsOfOwnBuffersAndOfCopies) {
    Scene scene = TwoRamps();
    KrAOIInfo info;
    info.name = L"fringes";
    info.unit = L"mm";
    info.valueScale = 5.1;
    info.factor2 = info.factor3 = 7;
    scene.phase.SetAOIInfo(&info);
    KrLUnWrap unwrap;
    unwrap.Execute(&scene.phase, &scene.quality, &scene.mask, 0, 0, 1, 0);
    KrLUnWrap copy;
    copy = unwrap;
    unwrap.DelArea(0, 0);
    unwrap.DelArea(60, 0);
    copy.SetZeroPoint(20, 0);

    KrBufferAOI16 steps({81, 20});
    KrBufferAOI32Float phase({81, 20});
    KrBufferAOI8 mask({81, 20});
    unwrap.GetResult(&steps, &mask);
    EXPECT_EQ(PixelsOf(steps), std::vector<std::uint16_t>(81 * 20));
    copy.GetResult(&steps, &mask);
    copy.GetResult(&phase, &mask);
    EXPECT_EQ(*steps.GetPointer({21, 5}), 21 * 32);
    EXPECT_EQ(*mask.GetPointer({21, 5}), 0x03);
    EXPECT_EQ(*mask.GetPointer({40, 5}), 0xC1);
    EXPECT_FLOAT_EQ(*phase.GetPointer({21, 5}), 32 * 0.02f);
    EXPECT_FLOAT_EQ(*phase.GetPointer({40, 5}), -20 * 32 * 0.02f);
    KrBufferAOI32Float radians({81, 20});
    copy.GetRadians(&radians, &mask);
    EXPECT_FLOAT_EQ(*radians.GetPointer({21, 5}), static_cast<float>(32 * KrMath::TwoPi / 256));
    EXPECT_EQ(*radians.GetPointer({40, 5}), 0.0f);
    EXPECT_EQ(*mask.GetPointer({40, 5}), 0xC1);
    EXPECT_TRUE(radians.GetAOIInfo()->unit == L"rad");
    ASSERT_TRUE(steps.GetAOIInfo() && phase.GetAOIInfo());
    EXPECT_DOUBLE_EQ(steps.GetAOIInfo()->valueScale, 0.02);
    EXPECT_DOUBLE_EQ(phase.GetAOIInfo()->valueScale, 1.0);
    EXPECT_EQ(steps.GetAOIInfo()->unit, KrString(L"mm"));
    EXPECT_EQ(steps.GetAOIInfo()->factor2, 7);
    EXPECT_EQ(steps.GetAOIInfo()->factor3, 1);
    const auto values = PixelsOf(steps);
    EXPECT_EQ(steps.GetAOIInfo()->range.upper, *std::max_element(values.begin(), values.end()));
    EXPECT_FLOAT_EQ(static_cast<float>(phase.GetAOIInfo()->fullRange.lower), -20 * 32 * 0.02f);
}

TEST(Unwrap, UsesTheCommonRegionOnly) {
    Scene scene = TwoRamps();
    Fill(scene.target, [](int, int) { return 777; });
    KrAOI16 target(scene.target, {3, 2, 30, 10});
    KrAOI8 quality(scene.quality, {0, 0, 60, 8});
    KrLUnWrap unwrap;
    unwrap.Execute(&scene.phase, &quality, &scene.mask, &target, &scene.mask, 0, 0, 1, 0);
    EXPECT_EQ(*scene.target.GetPointer({3 + 29, 2 + 7}), 29 * 32);
    EXPECT_EQ(*scene.target.GetPointer({3 + 30, 2 + 7}), 777);
    EXPECT_EQ(*scene.target.GetPointer({3 + 29, 2 + 8}), 777);
    EXPECT_EQ(*scene.mask.GetPointer({29, 7}), 0x03);  // in place
    EXPECT_EQ(*scene.mask.GetPointer({30, 7}), 0x43);
    EXPECT_FALSE(unwrap.IsValidArea(30, 0));

    KrBufferAOI32 labels({40, 5});
    Fill(labels, [](int, int) { return 9; });
    unwrap.GetComponentLabels(&labels);
    EXPECT_EQ(*labels.GetPointer({29, 4}), 1);
    EXPECT_EQ(*labels.GetPointer({30, 4}), 9);

    KrBufferAOI8 nothing;
    unwrap.Execute(&scene.phase, &nothing, &scene.mask, &scene.target, &scene.targetMask, 0, 0, 1, 0);
    EXPECT_EQ(*scene.target.GetPointer({3, 5}), 0);
    EXPECT_EQ(*scene.target.GetPointer({0, 0}), 777);
    EXPECT_EQ(unwrap.GetRange().upper, 0);
    EXPECT_EQ(unwrap.GetComponentCount(), 0u);
}

TEST(Unwrap, RejectsBadImagesBeforeWriting) {
    Scene scene = TwoRamps();
    KrLUnWrap fresh, unwrap;
    unwrap.Execute(&scene.phase, &scene.quality, &scene.mask, 0, 0, 1, 0);
    KrBufferAOI16 steps({81, 20}), narrow({80, 20});
    KrBufferAOI32Float phase({81, 20}), low({81, 19});
    KrBufferAOI8 mask({81, 20}), small({81, 19});
    const wchar_t* const target = L"Error in KrLUnwrap: AOI size of target AOI is not correct";
    const wchar_t* const targetMask = L"Error in KrLUnwrap: AOI size of target mask AOI is not correct";
    const wchar_t* const missing = L"Error in KrLUnwrap: an image is missing";
    const struct {
        std::function<void()> call;
        int line;
        const wchar_t* text;
    } cases[] = {
        {[&] { unwrap.GetResult(&narrow, &mask); }, 1299, target},
        {[&] { unwrap.GetResult(&steps, &small); }, 1303, targetMask},
        {[&] { unwrap.GetResult(&low, &mask); }, 1213, target},
        {[&] { unwrap.GetResult(&phase, &small); }, 1217, targetMask},
        {[&] { fresh.GetResult(&steps, &mask); }, 1299, target},
        {[&] { fresh.GetResult(&phase, &mask); }, 1213, target},
        {[&] { fresh.GetRadians(&phase, &mask); }, 0, L"Error in KrLUnwrap: there is no result, Execute comes first"},
        {[&] { unwrap.GetResult(&steps, nullptr); }, 1299, missing},
        {[&] { unwrap.GetResult(static_cast<KrAOI32Float*>(nullptr), &mask); }, 1213, missing},
        {[&] { unwrap.GetComponentLabels(nullptr); }, 0, missing},
        {[&] { unwrap.Execute(&scene.phase, nullptr, &scene.mask, 0, 0, 1, 0); }, 0, missing},
        {[&] { unwrap.Execute(&scene.phase, &scene.quality, &scene.mask, nullptr, &mask, 0, 0, 1, 0); }, 0, missing},
        {[&] { unwrap.Execute(&scene.phase, &scene.quality, &scene.mask, &steps, &small, 0, 0, 1, 0); }, 0, targetMask},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        test::ExpectError(c.call, L"C\\ipLUnwrap", c.line, c.text);
        EXPECT_EQ(PixelsOf(steps), std::vector<std::uint16_t>(81 * 20));
        EXPECT_EQ(PixelsOf(mask), std::vector<std::uint8_t>(81 * 20));
        EXPECT_EQ(unwrap.GetComponentCount(), 2u);
    }
}

// The targets are the caller's, who may resize, move or empty them between Execute and the operations that write again.
TEST(Unwrap, WritesOnlyIntoTargetsAsTheyWereInExecute) {
    const std::vector<std::uint16_t> constant(81 * 20);
    const KrTSize<short> small = {2, 2}, narrow = {80, 20}, all = {81, 20};
    const KrTRectangle<short> part = {60, 10, 21, 10};
    const KrAOI8 nothing(all, static_cast<std::uint8_t*>(nullptr), 81);
    const KrAOI16 readOnly(all, constant.data(), 162);
    const std::function<void(Scene&)> changes[] = {
        [&](Scene& s) { s.target.Resize(small); },
        [&](Scene& s) { s.targetMask.Resize(narrow); },
        [&](Scene& s) { s.target.SetAOIRect(part); },
        [](Scene& s) { KrBufferAOI16(std::move(s.target)); },
        [&](Scene& s) { s.targetMask.KrAOI8::operator=(nothing); },
        [&](Scene& s) { s.target.KrAOI16::operator=(readOnly); },
    };
    for (const auto& change : changes) {
        SCOPED_TRACE(&change - changes);
        Scene scene = TwoRamps();
        KrLUnWrap unwrap;
        scene.Execute(unwrap);
        change(scene);
        EXPECT_TRUE(test::Thrown([&] { unwrap.SetZeroPoint(50, 5); }));
        EXPECT_TRUE(test::Thrown([&] { unwrap.AddOrder(5, 5, 3); }));
        EXPECT_TRUE(test::Thrown([&] { unwrap.DelArea(5, 5); }));
        unwrap.DelArea(40, 5);  // no result there: nothing
        EXPECT_EQ(unwrap.GetOrder(7, 5), 0);
        EXPECT_EQ(unwrap.GetOrder(50, 5), 1);
        EXPECT_EQ(unwrap.GetComponentCount(), 2u);
    }
    EXPECT_EQ(constant, std::vector<std::uint16_t>(81 * 20));
}

// A run that fails on its way leaves no result, in either form; nor does it leave one of another size behind.
TEST(Unwrap, HasNoResultWhenItFails) {
    Scene first = TwoRamps(), second(
                                  60, 9, [](int x, int y) { return x * 30 + y; }, kOpen, kOpen);
    KrAOIInfo info;
    info.unit = L"a unit that is too long to be stored without memory of its own";
    second.phase.SetAOIInfo(&info);
    KrBufferAOI32Float radians;
    KrBufferAOI8 mask;
    for (const bool ownBuffers : {true, false}) {
        std::unique_ptr<KrLUnWrap> unwrap;
        const auto execute = [&](Scene& scene) {
            ownBuffers ? unwrap->Execute(&scene.phase, &scene.quality, &scene.mask, 0, 0, 1, 0)
                       : scene.Execute(*unwrap);
        };
        const auto prepare = [&] {
            unwrap = std::make_unique<KrLUnWrap>();
            execute(first);
        };
        const auto check = [&](bool failed) {
            for (const Scene* scene : {&first, &second}) {
                radians.Resize(scene->size);
                mask.Resize(scene->size);
                EXPECT_EQ(failed || scene == &first,
                          test::Thrown([&] { unwrap->GetRadians(&radians, &mask); }) != nullptr);
            }
            EXPECT_EQ(failed ? 0u : 1u, unwrap->GetComponentCount());
            EXPECT_EQ(!failed, unwrap->IsValidArea(5, 5));
            unwrap->SetZeroPoint(5, 5);
        };
        EXPECT_LT(10, test::FailingAllocation::CountFailures(
                          prepare, [&] { execute(second); }, check));
    }
}

// Every pixel far from its neighbours is an area of its own; most end in one component.
TEST(Unwrap, CopesWithHundredsOfThousandsOfAreas) {
    test::Random random(3);
    const Value noise = [&random](int, int) { return random() % 256; };
    const Value alternate = [](int x, int y) { return (x + y) % 2 * 120 + x % 5; };
    Scene scenes[] = {{800, 700, noise, noise, kOpen}, {32767, 16, alternate, noise, kOpen}};
    for (Scene& scene : scenes) {
        KrLUnWrap unwrap;
        scene.Execute(unwrap, 0, 2);
        EXPECT_GE(unwrap.GetComponentCount(), 1u);
    }
}

}  // namespace
}  // namespace KrN
