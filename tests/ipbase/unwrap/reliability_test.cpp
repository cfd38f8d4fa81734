#include <gtest/gtest.h>
#include <opencv2/core/core_c.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <random>

#include "ipbase/ipLTrans.h"
#include "ipbase/ipLUnwrap_Velmor.h"
#include "ipbase/kernels/reliability.h"
#include "tests/support/harness.h"

namespace KrN {
namespace {

using test::Fill;
using test::PixelsOf;
using Value = std::function<int(int x, int y)>;
using Size = KrTSize<short>;

// An image with a gap between its rows.
KrBufferAOI8 Part(Size size) {
    KrBufferAOI8 image({static_cast<short>(size.cx + 3), static_cast<short>(size.cy + 2)});
    image.SetAOIRect({2, 1, size.cx, size.cy});
    return image;
}

// Unwrapped radians: a value scale of 6.284 makes the float result unscaled.
std::vector<float> Radians(KrLUnWrap_Velmor& unwrap, Size size, Size maskSize) {
    KrBufferAOI32Float result(size);
    KrBufferAOI8 mask(maskSize);
    unwrap.GetResult(&result, &mask);
    return PixelsOf(result);
}

// The algorithm in its plainest form: a full sort, groups as lists, every member relabelled at every merge.
struct Literal {
    using Index = std::size_t;
    Index width, height;
    std::vector<std::uint8_t> phase, mask;
    unsigned minGroupSize;

    std::vector<float> values = {}, reliability = {};
    std::vector<int> increment = {};
    std::vector<Index> group = {};
    std::vector<std::vector<Index>> members = {};

    static int Periods(float x) {
        const auto pi = static_cast<float>(KrMath::Pi);
        return x > pi ? -1 : x < -pi ? 1 : 0;
    }
    static float Wrap(float x) { return x + static_cast<float>(Periods(x)) * static_cast<float>(KrMath::TwoPi); }
    void FindReliability(Index i) {
        kernels::GetReliabilityKernels().unreliable(&reliability[i], static_cast<unsigned>(i), 1);
        const Index x = i % width, y = i / width;
        if (x == 0 || y == 0 || x + 1 == width || y + 1 == height) return;
        for (Index k = 0; k < 9; ++k)
            if (mask[(y - 1 + k / 3) * width + x - 1 + k % 3] != 255) return;
        float sum = 0;
        for (const Index step : {Index{1}, width, width + 1, width - 1}) {
            const float d = Wrap(values[i - step] - values[i]) - Wrap(values[i] - values[i + step]);
            sum = sum + d * d;
        }
        reliability[i] = sum;
    }
    void Merge(Index p, Index q) {
        const int wrap = Periods(values[p] - values[q]);
        auto& a = members[group[p]];
        auto& b = members[group[q]];
        if (&a == &b) return;
        const bool keepFirst = b.size() == 1 || (a.size() != 1 && a.size() > b.size());
        const int shift = keepFirst ? increment[p] - wrap - increment[q] : increment[q] + wrap - increment[p];
        const Index kept = keepFirst ? group[p] : group[q];
        auto& from = keepFirst ? b : a;
        for (const Index i : from) {
            increment[i] += shift;
            group[i] = kept;
        }
        members[kept].insert(members[kept].end(), from.begin(), from.end());
        from.clear();
    }
    std::vector<float> Run() {
        const Index count = phase.size();
        reliability.resize(count);
        increment.resize(count);
        for (Index i = 0; i < count; ++i) {
            values.push_back(static_cast<float>(phase[i] * 0.02454369260617026));
            group.push_back(i);
            members.push_back({i});
        }
        for (Index i = 0; i < count; ++i) FindReliability(i);
        struct Edge {
            float reliability;
            Index p, q;
        };
        std::vector<Edge> edges;
        for (Index p = 0; p < count; ++p)
            for (const bool below : {false, true}) {
                const Index q = p + (below ? width : 1);
                if (below ? q >= count : q % width == 0) continue;
                if (mask[p] == 255 && mask[q] == 255) edges.push_back({reliability[p] + reliability[q], p, q});
            }
        std::stable_sort(edges.begin(), edges.end(),
                         [](const Edge& a, const Edge& b) { return a.reliability < b.reliability; });
        for (const Edge& edge : edges) Merge(edge.p, edge.q);
        float least = 3.4028235e38f;
        for (Index i = 0; i < count; ++i) {
            values[i] = static_cast<float>(values[i] + KrMath::TwoPi * increment[i]);
            if (members[group[i]].size() < minGroupSize) mask[i] = 0;
            if (mask[i] == 255) least = std::min(least, values[i]);
        }
        for (Index i = 0; i < count; ++i)
            if (mask[i] != 255) values[i] = least < 3e38f ? least : 0;
        return values;
    }
};

struct Scene {
    KrBufferAOI8 phase, mask;
    KrAOIInfo info;
    Scene(Size size, const Value& p, const Value& m, Size maskSize = {})
        : phase(Part(size)), mask(Part(maskSize.cx ? maskSize : size)) {
        Fill(phase, p);
        Fill(mask, m);
        info.valueScale = 6.284;
        phase.SetAOIInfo(&info);
    }
};

const Value kOpen = [](int, int) { return 255; };
constexpr wchar_t kUnit[] = L"C\\ipLUnwrap_Velmor";

DRAWN_TEST(Reliability, GivesThePixelsOfThePlainForm, 300) {
    // Now and then enough edges for all ways of sorting them.
    const auto side = [&, most = draw(100) ? 40u : 190u] { return static_cast<short>(1 + draw(most)); };
    const Size size = {side(), side()};
    const auto random = std::make_shared<std::mt19937>(draw(1 << 16));
    const auto below = [=](unsigned limit) { return static_cast<int>((*random)() % limit); };
    const int along = static_cast<int>(draw(96)), down = static_cast<int>(draw(48)), bend = static_cast<int>(draw(3));
    const unsigned noise = draw(4) ? 1 + draw(256) : 1, holes = 1 + draw(12), minGroup = draw(2) ? 0 : draw(300);
    Scene scene(
        size, [&](int x, int y) { return x * along + y * down + x * x * bend / 3 + below(noise); },
        [&](int, int) { return holes > 1 && below(holes) == 0 ? (below(2) ? 254 : below(256)) : 255; });
    Literal literal{static_cast<std::size_t>(size.cx), static_cast<std::size_t>(size.cy), PixelsOf(scene.phase),
                    PixelsOf(scene.mask), minGroup};
    const auto expected = literal.Run();
    const bool without = holes == 1 && minGroup == 0;
    test::ForEachTarget([&](std::int64_t) {
        KrLUnWrap_Velmor unwrap;
        unwrap.Execute(&scene.phase, without ? nullptr : &scene.mask, minGroup, nullptr);
        ASSERT_EQ(Radians(unwrap, size, size), expected) << size.cx << " x " << size.cy;
    });
}

// Reaches the algorithm below Execute.
struct Inner : KrLUnWrap_Velmor {
    using KrLUnWrap_Velmor::Unwrap2DSRNCP;
};

TEST(Reliability, DoesNothingWhenAborted) {
    int flag = 0;
    Inner unwrap;
    Scene scene({5, 4}, kOpen, kOpen);
    unwrap.Execute(&scene.phase, nullptr, 0, &flag);
    EXPECT_EQ(unwrap.ShouldBeAborted(), 0);
    flag = 3;
    EXPECT_EQ(unwrap.ShouldBeAborted(), 3);
    KrBufferAOI32Float wrapped({5, 4}), unwrapped({5, 4});
    Fill(unwrapped, [](int x, int) { return x; });
    const auto before = PixelsOf(unwrapped);
    IplImage* const in = wrapped.CreateIplImage();
    IplImage* const out = unwrapped.CreateIplImage();
    int edges = 0;
    unwrap.Unwrap2DSRNCP(in, out, nullptr, 0, edges);
    EXPECT_EQ(PixelsOf(unwrapped), before);
    flag = 0;
    unwrap.Unwrap2DSRNCP(in, out, nullptr, 0, edges);
    EXPECT_EQ(PixelsOf(unwrapped), PixelsOf(wrapped));
    EXPECT_EQ(edges, 4 * 4 + 5 * 3);
    KrBufferAOI8 bytes({5, 4});
    IplImage* const grey = bytes.CreateIplImage();
    test::ExpectError([&] { unwrap.Unwrap2DSRNCP(grey, out, nullptr, 0, edges); }, kUnit, 151);
    test::ExpectError([&] { unwrap.Unwrap2DSRNCP(in, grey, nullptr, 0, edges); }, kUnit, 151);
    test::ExpectError([&] { unwrap.Unwrap2DSRNCP(in, out, in, 0, edges); }, kUnit, 152);
    for (IplImage* image : {in, out, grey}) cvReleaseImage(&image);
}

TEST(Reliability, DeliversAllForms) {
    // Two ramps with a gap between them, and a single pixel at the end, which the size filter drops.
    const Size size{30, 4};
    const Value mask = [](int x, int y) { return x == 12 || (x > 26 && (x != 28 || y != 2)) ? 7 : 255; };
    const Value ramp = [](int x, int) { return 40 + x * 30; };
    Scene scene(size, ramp, mask);
    scene.info.valueScale = 500;
    scene.info.unit = L"mm";
    KrLUnWrap_Velmor original;
    EXPECT_EQ(0u, original.GetComponentCount());
    original.Execute(&scene.phase, &scene.mask, 2, nullptr);
    KrLUnWrap_Velmor unwrap(original);
    KrBufferAOI8 empty({0, 4});
    original.Execute(&empty, nullptr, 0, nullptr);  // leaves the copy alone
    EXPECT_EQ(0u, original.GetComponentCount());
    EXPECT_EQ(2u, unwrap.GetComponentCount());

    const Size around{35, 7};  // whose other pixels must stay as they are
    KrBufferAOI32Float real(around), radians(around);
    KrBufferAOI16 scaled(around), spread(around);
    KrBufferAOI8 kept(around), dropped(around), valid(around);
    KrBufferAOI32 labels({31, 3}), none(size);
    const std::initializer_list<KrAOI*> all = {&real, &radians, &scaled, &spread, &kept, &dropped, &valid};
    for (KrAOI* image : all) {
        KrLTransfer().Clear(image, 1);
        image->SetAOIRect({2, 1, size.cx, size.cy});
    }
    unwrap.GetResult2(&spread, &dropped);
    unwrap.GetResult(&scaled, &kept);
    EXPECT_EQ(PixelsOf(kept), PixelsOf(scene.mask));
    unwrap.GetResult(&real, &kept);
    EXPECT_EQ(PixelsOf(kept), PixelsOf(scene.mask));
    unwrap.GetRadians(&radians, &valid);
    unwrap.GetComponentLabels(&labels);
    original.GetComponentLabels(&none);
    EXPECT_EQ(std::vector<std::int32_t>(120), PixelsOf(none));
    const std::array<double, 3> first = {0, radians.ReadPixel({0, 0}), radians.ReadPixel({13, 0})};
    const double least = std::min(first[1], first[2]);
    for (short y = 0; y < 4; ++y)
        for (short x = 0; x < 30; ++x) {
            const std::size_t label = x < 12 ? 1 : x > 12 && x < 27 ? 2 : 0;
            const double value = label ? first[label] + (label == 2 ? x - 13 : x) * 30 * KrMath::TwoPi / 256 : least;
            EXPECT_NEAR(radians.ReadPixel({x, y}), label ? value : 0, 1e-4);
            EXPECT_NEAR(real.ReadPixel({x, y}), value * 500 / 6.284, 1e-3);
            EXPECT_NEAR(static_cast<std::int16_t>(scaled.ReadPixel({x, y})), value * 500 / 1601.91, 1);
            EXPECT_NEAR(spread.ReadPixel({x, y}), (value - least) * 255 / KrMath::TwoPi, 1);
            EXPECT_EQ(dropped.ReadPixel({x, y}), value > least + 1e-3 ? 255 : 0);
            EXPECT_EQ(valid.ReadPixel({x, y}), label ? 255 : 0);
            EXPECT_EQ(y < 3 ? labels.ReadPixel({x, y}) : static_cast<int>(label), static_cast<int>(label));
        }
    EXPECT_EQ(0, labels.ReadPixel({30, 0}));
    const std::pair<KrAOI*, double> scales[] = {{&real, 1.0}, {&scaled, 500 / 255.0}, {&spread, 500 / 255.0}};
    for (const auto& [image, scale] : scales) {
        ASSERT_TRUE(image->GetAOIInfo());
        EXPECT_EQ(image->GetAOIInfo()->valueScale, scale);
        EXPECT_EQ(image->GetAOIInfo()->unit, KrString(L"mm"));
    }
    EXPECT_EQ(1.0, radians.GetAOIInfo()->valueScale);
    EXPECT_TRUE(radians.GetAOIInfo()->unit == L"rad");
    const auto steps = PixelsOf(spread);
    EXPECT_EQ(spread.GetAOIInfo()->range.upper, *std::max_element(steps.begin(), steps.end()));
    for (KrAOI* image : all) image->SetAOIRect({0, 0, around.cx, around.cy});
    for (short y = 0; y < around.cy; ++y)
        for (short x = 0; x < around.cx; ++x) {
            if (x >= 2 && y >= 1 && x < 2 + size.cx && y < 1 + size.cy) continue;
            const KrTPoint<short> p(x, y);
            EXPECT_EQ(7, real.ReadPixel(p) + radians.ReadPixel(p) + scaled.ReadPixel(p) + spread.ReadPixel(p) +
                             kept.ReadPixel(p) + dropped.ReadPixel(p) + valid.ReadPixel(p));
        }
}

// The records and steps that derived classes may use.
TEST(Reliability, StepsMergeGroups) {
    struct Steps : KrLUnWrap_Velmor {
        using KrLUnWrap_Velmor::gatherPIXELs;
        using KrLUnWrap_Velmor::initialisePIXELs;
    } steps;
    PIXELM pixels[6];
    EDGE edges[] = {EDGE::Make(1, 0, false, 0), EDGE::Make(2, 0, true, -1), EDGE::Make(3, 4, false, 1)};
    int count = 3;
    steps.initialisePIXELs(nullptr, nullptr, nullptr, pixels, 3, 2);
    steps.gatherPIXELs(edges, 3, 2, count);
    const auto head = [&](int i) { return pixels[i].group < 0 ? i : pixels[i].group; };
    EXPECT_EQ(head(0), head(1));
    EXPECT_EQ(head(0), head(3));
    EXPECT_EQ(-3, pixels[head(0)].group);
    EXPECT_EQ(1, pixels[3].increment - (head(0) == 0 ? 0 : pixels[0].increment));
    EXPECT_EQ(-1, pixels[5].group < 0 ? -1 - pixels[4].increment - 1 : pixels[5].increment);
    EXPECT_EQ(-1, pixels[2].group);
}

TEST(Reliability, RefusesWhatDoesNotFit) {
    const Size size{12, 9}, maskSize{10, 11}, other{12, 8};
    const Value ramp = [](int x, int) { return x * 30; };
    Scene scene(size, ramp, kOpen, maskSize);
    KrLUnWrap_Velmor unwrap;
    unwrap.Execute(&scene.phase, &scene.mask, 0, nullptr);
    const std::vector<float> radians = Radians(unwrap, size, maskSize);
    EXPECT_NE(radians[9], 0);  // columns 0 to 9 are common
    EXPECT_EQ(radians[10], 0);
    KrBufferAOI16 fits16(size), wrong16(other);
    KrBufferAOI32Float fitsF(size), wrongF(other);
    KrBufferAOI8 fitsMask(maskSize), wrongMask(size);
    const struct {
        std::function<void()> call;
        int line;
    } cases[] = {
        {[&] { unwrap.GetResult(&wrong16, &fitsMask); }, 971},
        {[&] { unwrap.GetResult(&fits16, &wrongMask); }, 975},
        {[&] { unwrap.GetResult2(&wrong16, &fitsMask); }, 1043},
        {[&] { unwrap.GetResult2(&fits16, &wrongMask); }, 1047},
        {[&] { unwrap.GetResult(&wrongF, &fitsMask); }, 909},
        {[&] { unwrap.GetResult(&fitsF, &wrongMask); }, 913},
        {[&] { unwrap.GetResult(&fitsMask, &fitsMask); }, 894},
        {[&] { unwrap.GetResult(&fitsF, nullptr); }, 909},
        {[&] { unwrap.GetRadians(&wrongF, &fitsMask); }, 925},
        {[&] { unwrap.GetRadians(&fitsF, &wrongMask); }, 929},
        {[&] { unwrap.GetComponentLabels(nullptr); }, 930},
        {[&] { KrLUnWrap_Velmor().GetResult(&fitsF, &fitsMask); }, 909},
        {[&] { KrLUnWrap_Velmor().GetRadians(&fitsF, &fitsMask); }, 924},
        {[&] { unwrap.Execute(nullptr, &fitsMask, 0, nullptr); }, 120},
    };
    for (const auto& c : cases) {
        const auto error = test::ExpectError(c.call, kUnit, c.line);
        EXPECT_EQ(dynamic_cast<KrNotImplementedException*>(error.get()) != nullptr, c.line == 894);
    }
    EXPECT_EQ(Radians(unwrap, size, maskSize), radians);

    KrBufferAOI8 empty({0, 5});
    unwrap.Execute(&empty, nullptr, 0, nullptr);
    EXPECT_TRUE(Radians(unwrap, {0, 5}, {0, 5}).empty());
}

TEST(Reliability, KeepsRawFiles) {
    const std::string name = testing::TempDir() + "reliability.raw";
    const std::vector<float> values = {1.5f, -2.25f, 1e30f};
    std::vector<float> read(5, 9);
    std::vector<unsigned char> mask(13, 9);
    using U = KrLUnWrap_Velmor;
    const std::string reading = "Reading the Wrapped Values form Binary File.............>";
    const std::string masking = "Reading the mask form Binary File.............>";
    const std::string writing = "Writing the Unwrapped Values to Binary File.............>";
    const std::string done = " Done.\n", unread = "Error reading the file\n", closed = "Error opening the file\n";
    const std::pair<std::function<bool()>, std::string> steps[] = {
        {[&] { return U::ReadMask(name.c_str(), mask.data(), 1); }, masking + closed},
        {[&] { return U::WriteUnwrappedValues((name + "/none").c_str(), values.data(), 3); }, writing + closed},
        {[&] { return U::WriteUnwrappedValues(name.c_str(), values.data(), 3); }, writing + done},
        {[&] { return U::ReadWrappedValues(name.c_str(), read.data(), 5); }, reading + unread},
        {[&] { return U::ReadMask(name.c_str(), mask.data(), 13); }, masking + unread},
        {[&] { return read[0] == 9 && mask[0] == 9; }, ""},
        {[&] { return U::ReadWrappedValues(name.c_str(), read.data(), 3); }, reading + done},
        {[&] { return U::ReadMask(name.c_str(), mask.data(), 12); }, masking + done},
    };
    std::remove(name.c_str());
    for (const auto& [call, says] : steps) {
        testing::internal::CaptureStdout();
        EXPECT_EQ(call(), says.find("Error") == std::string::npos);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), says);
    }
    EXPECT_EQ(read, (std::vector<float>{1.5f, -2.25f, 1e30f, 9, 9}));
    EXPECT_EQ(mask[2], 0xC0);  // of 1.5
    EXPECT_EQ(mask[12], 9);
    std::remove(name.c_str());
}

}  // namespace
}  // namespace KrN
