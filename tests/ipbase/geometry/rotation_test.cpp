// Rotation by shears: exact inverses, literal shears, palettes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "imagemodel/krbufferaoi.h"
#include "ipbase/base/watch.h"
#include "ipbase/geometry/operations.h"
#include "ipbase/ipLGeomet.h"
#include "ipbase/ipRotateByShear.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

thread_local KrLRotateByShear rotation;

TEST(Rotation, TellsHowFarItIsAndEndsWhenWhoHearsItThrows) {
    KrBufferAOI8 src({90, 200}), dst({90, 200});
    for (const InterpolationMode mode : {eNearest, eLinear, eCubic}) {
        std::vector<double> shares;
        {
            const WorkWatch watch([&](double share) { shares.push_back(share); });
            rotation.Rotate(&src, &dst, 20, mode);
            EXPECT_GE(shares.size(), 6U);
            EXPECT_TRUE(std::is_sorted(shares.begin(), shares.end()) && shares.back() < 1);
            const WorkWatch inner([](double) { throw 7; });
            EXPECT_THROW(rotation.Rotate(&src, &dst, 20, mode), int);
        }
        const std::size_t heard = shares.size();
        rotation.Rotate(&src, &dst, 20, mode);
        EXPECT_EQ(shares.size(), heard);
    }
}

using Canvas = std::vector<std::vector<double>>;

double Weight(InterpolationMode mode, double x) {
    x = std::abs(x);
    if (mode == eLinear) return std::max(0.0, 1 - x);
    return x <= 1 ? 1.5 * x * x * x - 2.5 * x * x + 1 : x < 2 ? -0.5 * x * x * x + 2.5 * x * x - 4 * x + 2 : 0;
}

// Along the rows of a canvas that is so large that nothing reaches its edges; columns and rows are then exchanged.
Canvas ShearedAndTurned(const Canvas& from, double slope, InterpolationMode mode) {
    const int n = static_cast<int>(from.size());
    Canvas to(from.size(), std::vector<double>(from.size()));
    for (int line = 0; line < n; ++line)
        for (int i = 0; i < n; ++i) {
            const double at = i - slope * (line - (n - 1) / 2.0);
            for (int j = std::max(0, static_cast<int>(at) - 3); j <= std::min(n - 1, static_cast<int>(at) + 3); ++j)
                to[static_cast<std::size_t>(i)][static_cast<std::size_t>(line)] +=
                    from[static_cast<std::size_t>(line)][static_cast<std::size_t>(j)] * Weight(mode, at - j);
        }
    return to;
}

// An odd square source in the middle of a large canvas, by angles up to 45 degrees.
Canvas Rotated(const GuardedImage& src, int side, double degrees, InterpolationMode mode) {
    Canvas canvas(static_cast<std::size_t>(side), std::vector<double>(static_cast<std::size_t>(side)));
    const int margin = (side - src.place.cx) / 2;
    for (int y = 0; y < src.place.cy; ++y)
        for (int x = 0; x < src.place.cx; ++x)
            canvas[static_cast<std::size_t>(y + margin)][static_cast<std::size_t>(x + margin)] = src.Get(x, y);
    const double angle = degrees * KrMath::Pi / 180;
    for (const double slope : {std::tan(angle / 2), -std::sin(angle), std::tan(angle / 2)})
        canvas = ShearedAndTurned(canvas, slope, mode);
    return ShearedAndTurned(canvas, 0, mode);
}

DRAWN_TEST(Rotation, IsThreeShears, 60) {
    constexpr DeviceType types[] = {eDev8, eDev16, eDev32Float, eDev64Double};
    const DeviceType type = Drawn(draw, types);
    const InterpolationMode mode = draw(2) ? eLinear : eCubic;
    const double degrees = draw(8) ? (static_cast<int>(draw(901)) - 450) / 10.0 : std::array{0.0, 45.0, -45.0}[draw(3)];
    const int side = 1 + 2 * static_cast<int>(draw(8)), canvas = 3 * side + 12;
    GuardedImage src(type, side, side, draw(1 << 16), draw(2) ? Form::eRowless : Form::eView);
    if (type >= eDev32Float) src.Fill([](int x, int y) { return std::sin(x * 0.7) + 0.1 * y; });
    const auto size =
        KrLRotateByShear::RotatedSize({static_cast<short>(side), static_cast<short>(side)}, degrees, mode);
    GuardedImage dst(type, size.cx, size.cy, 6), guards(type, size.cx, size.cy, 6);
    const Canvas want = Rotated(src, canvas, degrees, mode);
    const int left = (canvas - size.cx) / 2, top = (canvas - size.cy) / 2;
    ForEachTarget([&](std::int64_t) {
        rotation.Rotate(src.image.get(), dst.image.get(), degrees, mode);
        for (int y = 0; y < size.cy; ++y)
            for (int x = 0; x < size.cx; ++x) {
                const double v =
                    Clip(want[static_cast<std::size_t>(y + top)][static_cast<std::size_t>(x + left)], type);
                const double limit = type == eDev64Double ? 1e-12 : type == eDev32Float ? 1e-5 : 0.51;
                ASSERT_NEAR(dst.Get(x, y), v, limit) << type << ' ' << mode << ' ' << degrees;
                guards.Set(x, y, dst.Get(x, y));
            }
        ASSERT_EQ(guards.memory, dst.memory);
    });
}

DRAWN_TEST(Rotation, OfNearestPixelsComesBackExactly, 400) {
    const DeviceType type = std::array{eDev8, eDev16, eDev32Float, eDev64Double}[draw(4)];
    const std::uint32_t most = draw(8) ? 15 : 60;
    const KrTSize<short> size{static_cast<short>(1 + draw(most)), static_cast<short>(1 + draw(most))};
    const double degrees =
        draw(8) == 0 ? 45.0 * (static_cast<int>(draw(19)) - 9) : (static_cast<int>(draw(80001)) - 40000) / 100.0;
    const auto whole = KrLRotateByShear::RotatedSize(size, degrees, eNearest);
    GuardedImage src(type, size.cx, size.cy, 3), back(type, size.cx, size.cy, 1);
    GuardedImage there(type, whole.cx, whole.cy, 2);
    src.Fill([&](int x, int y) { return 1 + (x + y * size.cx) % 250; });
    back.memory = src.memory;
    back.Fill([](int, int) { return 0; });
    rotation.Rotate(src.image.get(), there.image.get(), degrees, eNearest, 0);
    rotation.InverseRotate(there.image.get(), back.image.get(), degrees, eNearest, 0);
    ASSERT_EQ(src.memory, back.memory) << size.cx << " x " << size.cy << " by " << degrees;
    if (size.cx * size.cy > 250) return;
    double farthest = 0;  // each pixel lies beside its place
    const double angle = degrees * KrMath::Pi / 180;
    for (int y = 0; y < whole.cy; ++y)
        for (int x = 0; x < whole.cx; ++x)
            if (const int n = static_cast<int>(there.Get(x, y)) - 1; n >= 0) {
                const double u = n % size.cx - (size.cx - 1) / 2.0, v = n / size.cx - (size.cy - 1) / 2.0;
                const double dx = u * std::cos(angle) + v * std::sin(angle) + (whole.cx - 1) / 2.0 - x;
                const double dy = v * std::cos(angle) - u * std::sin(angle) + (whole.cy - 1) / 2.0 - y;
                farthest = std::max(farthest, std::hypot(dx, dy));
            }
    ASSERT_LT(farthest, 1.13) << size.cx << " x " << size.cy << " by " << degrees;
}

TEST(Rotation, OfFrequenciesComesBackExactly) {
    for (const auto& [cx, cy] : {std::pair<short, short>{40, 31}, {17, 50}, {1, 9}})
        for (const double degrees : {17.0, -45.0, 100.0, 250.5}) {
            const auto whole = KrLRotateByShear::RotatedSize({cx, cy}, degrees, eFourier);
            GuardedImage src(eDev64Double, cx, cy, 1), back(eDev64Double, cx, cy, 1);
            GuardedImage there(eDev64Double, whole.cx, whole.cy, 2);
            src.Fill([](int x, int y) { return std::sin(x * 0.9) + std::cos(y * x * 0.1); });
            rotation.Rotate(src.image.get(), there.image.get(), degrees, eFourier);
            rotation.InverseRotate(there.image.get(), back.image.get(), degrees, eFourier);
            double error = 0;
            for (int y = 0; y < cy; ++y)
                for (int x = 0; x < cx; ++x) error = std::max(error, std::abs(back.Get(x, y) - src.Get(x, y)));
            EXPECT_LT(error, 1e-12) << cx << " by " << degrees;
        }
}

TEST(Rotation, KeepsNaNFromSpreading) {
    GuardedImage src(eDev32Float, 41, 41, 1), dst(eDev32Float, 41, 41, 1);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    src.Fill([&](int x, int y) { return x == 20 && y == 20 ? nan : 5; });
    rotation.Rotate(src.image.get(), dst.image.get(), 10, eCubic, nan);
    int holes = 0;
    for (int y = 10; y < 31; ++y)
        for (int x = 10; x < 31; ++x)
            if (std::isnan(dst.Get(x, y)))
                ++holes;
            else
                EXPECT_NEAR(dst.Get(x, y), 5, 1e-5);
    EXPECT_LE(holes, 9);
}

// A turn is whole quarters and the rest; other sizes and fills, and in place.
TEST(Rotation, TakesQuartersFirst) {
    for (const DeviceType type : {eDev8, eDev32Float})
        for (const double degrees : {100.0, -170.0, 260.0}) {
            GuardedImage src(type, 31, 18, 1);
            const int quarters = static_cast<int>(std::floor(degrees / 90 + 0.5));
            const bool odd = quarters % 2 != 0;
            GuardedImage turned(type, odd ? 18 : 31, odd ? 31 : 18, 2);
            const auto size = KrLRotateByShear::RotatedSize({31, 18}, degrees, eLinear);
            GuardedImage dst(type, size.cx, size.cy, 3), want(type, size.cx, size.cy, 3);
            KrLGeomet().Turn(src.image.get(), turned.image.get(), quarters);
            rotation.Rotate(turned.image.get(), want.image.get(), degrees - 90 * quarters, eLinear, 77);
            rotation.Rotate(src.image.get(), dst.image.get(), degrees, eLinear, 77);
            EXPECT_EQ(want.memory, dst.memory) << type << ' ' << degrees;
            GuardedImage place(type, 31, 18, 1), cut(type, 31, 18, 1);
            rotation.Rotate(src.image.get(), cut.image.get(), degrees, eCubic, 3);
            rotation.Rotate(place.image.get(), place.image.get(), degrees, eCubic, 3);
            EXPECT_EQ(cut.memory, place.memory) << type << ' ' << degrees;
        }
}

// Three colours of which one is the mean of the others, and a second black.
TEST(Rotation, MixesPaletteColours) {
    KrLut3x8 palette;
    for (const auto i : std::array<unsigned short, 2>{1, 2}) {
        palette.SetElemR(i, static_cast<unsigned char>(i == 1 ? 200 : 100));
        palette.SetElemG(i, static_cast<unsigned char>(i == 1 ? 200 : 100));
    }
    GuardedImage src(eDev8, 31, 31, 1), dst(eDev8, 31, 31, 1), turned(eDev8, 31, 31, 1);
    src.Fill([](int x, int) { return x < 15 ? 9 : 1; });  // 9 is black as 0 is
    rotation.Rotate(src.image.get(), turned.image.get(), 90, eCubic, 9, &palette);
    EXPECT_EQ(turned.Get(5, 30), 9);
    rotation.Rotate(src.image.get(), dst.image.get(), 20, eLinear, 9, &palette);
    std::array<int, 256> count{};
    for (int y = 0; y < 31; ++y)
        for (int x = 0; x < 31; ++x) ++count[static_cast<std::size_t>(dst.Get(x, y))];
    EXPECT_GT(count[1], 200);
    EXPECT_GT(count[2], 5);    // between black and the first colour
    EXPECT_GT(count[9], 200);  // what was not mixed keeps its index
    EXPECT_EQ(count[0] + count[1] + count[2] + count[9], 31 * 31);

    KrLut3x8 grey;  // whose mixtures are those of grey levels
    for (unsigned short i = 0; i < 256; ++i) {
        const auto level = static_cast<unsigned char>(i);
        grey.SetElemR(i, level);
        grey.SetElemG(i, level);
        grey.SetElemB(i, level);
    }
    src.Fill([](int x, int y) { return x < 15 ? 40 + y : 200; });
    rotation.Rotate(src.image.get(), dst.image.get(), 20, eLinear, 90, &grey);
    rotation.Rotate(src.image.get(), turned.image.get(), 20, eLinear, 90);
    for (int y = 0; y < 31; ++y)
        for (int x = 0; x < 31; ++x) EXPECT_NEAR(dst.Get(x, y), turned.Get(x, y), 2) << x << ',' << y;
    GuardedImage words(eDev16, 31, 31, 1);
    ExpectNotImplemented([&] { rotation.Rotate(words.image.get(), words.image.get(), 2, eLinear, 0, &palette); },
                         L"C\\ipRotateByShear", 60, L"Rotate( img, img, 2 )");
}

// clang-format off
const std::vector<OpCase> kCases = {
    {L"Rotate( %s, %s, %g )", 60, "11 44 88 aa", [](I i, C) { rotation.Rotate(i[0], i[1], 5); }, nullptr, {{5}}},
    {L"InverseRotate( %s, %s, %g )", 90, "11 44 88 aa",
     [](I i, C) { rotation.InverseRotate(i[0], i[1], 5); }, nullptr, {{5}}},
};
// clang-format on

const Listed kListed(kCases);

TEST(Rotation, DispatchAndErrors) {
    CheckDispatch(kCases, RotateByShearOperations(), L"C\\ipRotateByShear");
    GuardedImage image(eDev8, 9, 9, 1);
    const auto before = image.memory;
    for (const double angle : {HUGE_VAL, std::nan("")})
        EXPECT_TRUE(Thrown([&] { rotation.Rotate(image.image.get(), image.image.get(), angle); }));
    EXPECT_EQ(before, image.memory);
}

}  // namespace
