// Backgrounds and corrected images against plain loops over pictures of all kinds.
#include "ipbase/ipLShadeCorr.h"

#include <gtest/gtest.h>

#include <cmath>

#include "ipbase/surface/operations.h"
#include "tests/support/filter_pictures.h"
#include "tests/support/literal_filters.h"

namespace test {
namespace {

struct Parameters {
    std::uint32_t kw = 3, kh = 3, dilatations = 3, factor = 12;
};

struct Shading : KrLShadeCorrection {
    explicit Shading(const Parameters& p) {
        if (p.kw == 3 && p.kh == 3 && p.dilatations == 3 && p.factor == 12) return;  // these are the defaults
        SetKernelSize({p.kw, p.kh});
        SetDilatationNum(p.dilatations);
        SetReduceFactor(p.factor);
    }
};

template <class T, class F>
Picture<T> Draw(int cx, int cy, const F& value) {
    Picture<T> picture{cx, cy, std::vector<T>(static_cast<std::size_t>(cx * cy))};
    for (int y = 0; y < cy; ++y)
        for (int x = 0; x < cx; ++x) picture.At(x, y) = static_cast<T>(value(x, y));
    return picture;
}

// Each pixel from the window around it.
template <class T, class F>
Picture<T> Filtered(Picture<T>& in, const Parameters& p, const F& value) {
    const int kw = static_cast<int>(p.kw), kh = static_cast<int>(p.kh);
    const std::vector<std::int32_t> ones(static_cast<std::size_t>(kw * kh), 1);
    return Draw<T>(in.cx, in.cy, [&](int x, int y) {
        return value(LiteralWindow<T>(in.pixels, in.cx, in.cy, x, y, kw, kh, ones, nullptr));
    });
}

template <class T>
Picture<T> LiteralBackground(Picture<T> in, Parameters p) {
    for (std::uint32_t* value : {&p.kw, &p.kh, &p.factor}) *value = std::max(*value, 1u);
    const auto reduced = [&](int extent) { return std::max(1, static_cast<int>(1.0 * extent / p.factor + 0.5)); };
    const int rw = reduced(in.cx), rh = reduced(in.cy), factor = static_cast<int>(p.factor);
    auto small = Draw<T>(rw, rh, [&](int x, int y) { return in.At(x * factor, y * factor); });
    for (std::uint32_t i = 0; i < p.dilatations; ++i)
        small = Filtered(small, p, [](const Window<T>& window) {
            return *std::max_element(window.samples.begin(), window.samples.end());
        });
    small = Filtered(small, p, [&](const Window<T>& window) { return LiteralSum(window, 1.0 / (p.kw * p.kh), false); });
    const int stepX = (rw << 8) / in.cx, stepY = (rh << 8) / in.cy;
    return Draw<T>(in.cx, in.cy, [&](int x, int y) {
        const int px = x * stepX, py = y * stepY, fx = px & 255, fy = py & 255;
        const auto along = [&](int row) {
            row = std::min(row, rh - 1);
            return (small.At(px >> 8, row) * (255 - fx) + small.At(std::min((px >> 8) + 1, rw - 1), row) * fx) >> 8;
        };
        return (along(py >> 8) * (255 - fy) + along((py >> 8) + 1) * fy) >> 8;
    });
}

template <class T>
Picture<T> LiteralCorrection(Picture<T> in, Picture<T> shade) {
    const auto quotient = [&](int x, int y) {
        return shade.At(x, y) ? static_cast<double>(in.At(x, y)) / shade.At(x, y) : 0.0;
    };
    double most = 0;
    for (int y = 0; y < in.cy; ++y)
        for (int x = 0; x < in.cx; ++x) most = std::max(most, quotient(x, y));
    const double scale = most > 0 ? std::numeric_limits<T>::max() / most : 0.0;
    return Draw<T>(in.cx, in.cy, [&](int x, int y) { return std::trunc(scale * quotient(x, y) + 0.5); });
}

// An even field, a ramp, a field that darkens towards the corners under noise and spots, and noise.
template <class T>
std::vector<Picture<T>> Pictures(int cx, int cy, Random& random) {
    const double top = std::numeric_limits<T>::max();
    const auto lit = [&](int x, int y) {
        const double u = 2.0 * x / cx - 1, v = 2.0 * y / cy - 1, light = 0.9 - 0.35 * (u * u + v * v);
        return top * light * (x / 9 % 3 ? 1.0 : 0.4) * random.Uniform(0.97, 1.03);
    };
    return {Draw<T>(cx, cy, [&](int, int) { return top; }),
            Draw<T>(cx, cy, [&](int x, int y) { return top * (x + y) / (cx + cy); }), Draw<T>(cx, cy, lit),
            RandomPicture<T>(cx, cy, random)};
}

template <class T>
void CheckPicture(Picture<T> picture, const Parameters& p) {
    Shading shading(p);
    CheckLayouts(picture, LiteralBackground(picture, p),
                 [&](KrAOI* src, KrAOI* dst) { shading.GetBackgroundShade(src, dst ? dst : src); });
    // The other image makes the region narrower.
    const auto part = Draw<T>((picture.cx + 1) / 2, picture.cy, [&](int x, int y) { return picture.At(x, y); });
    for (const Form form : {Form::eView, Form::eRowless}) {
        Canvas<T> image(picture, form, 0, 0), other(part, form, 0, 5);
        const auto expected = image.Expected(LiteralCorrection(part, LiteralBackground(part, p)));
        const auto untouched = other.Expected(part);
        shading.ShadeCorrection(image.AOI(), other.AOI());
        ASSERT_EQ(expected, image.Memory());
        ASSERT_EQ(untouched, other.Memory());
    }
}

DRAWN_TEST(Shading, EqualsPlainLoops, 300) {
    Parameters p = {draw(10), draw(10), draw(20) ? draw(7) : 500, draw(21)};
    if (draw(8) == 0) p = {};
    const int cx = 1 + static_cast<int>(draw(draw(8) ? 40 : 100)), cy = 1 + static_cast<int>(draw(draw(8) ? 16 : 50));
    Random random(draw(1 << 16));
    const std::uint32_t which = draw(8);
    ForEachTarget([&](std::int64_t) {
        which < 4 ? CheckPicture(Pictures<std::uint8_t>(cx, cy, random)[which], p)
                  : CheckPicture(Pictures<std::uint16_t>(cx, cy, random)[which - 4], p);
    });
}

// The background comes from the kernel that derived classes replace.
TEST(Shading, DividesByTheBackground) {
    struct Given : KrLShadeCorrection {
        void mGetBackgroundShade88SW(KrTBuf2D<std::uint8_t>&, KrTBuf2D<std::uint8_t>& dst) override { dst = shade; }
        KrTBuf2D<std::uint8_t> shade{3, 1};
    } shading;
    const std::uint8_t values[] = {100, 50, 0};
    std::copy_n(values, 3, shading.shade.Row(0));
    Canvas<std::uint8_t> image({3, 1, {50, 100, 7}}, Form::eView, 0, 0);
    const auto expected = image.Expected({3, 1, {64, 255, 0}});
    shading.ShadeCorrection(image.AOI(), image.AOI());
    EXPECT_EQ(expected, image.Memory());
    shading.shade.Resize(2, 1);
    EXPECT_TRUE(Thrown([&] { shading.ShadeCorrection(image.AOI(), image.AOI()); }));
    EXPECT_EQ(expected, image.Memory());
}

// None is too large or too small: they count as the largest side that an image can have, and as 1.
TEST(Shading, ToleratesAnyParameters) {
    const std::uint32_t huge = 4000000000u, most = 32767;
    const struct {
        Parameters given, used;
    } cases[] = {{{huge, huge, huge, 1}, {most, most, most, 1}},
                 {{3, 3, huge, huge}, {3, 3, most, most}},
                 {{1, huge, 1, 2}, {1, most, 1, 2}},
                 {{0, 0, 0, 0}, {1, 1, 0, 1}}};
    Random random(9);
    for (const auto& c : cases) {
        KrBufferAOI16 image({9, 5}), empty;
        Fill(image, [&](int, int) { return 100 + random() % 60000; });
        const auto corrected = [&image](Shading shading) {
            KrBufferAOI16 copy(image), background({9, 5});
            shading.GetBackgroundShade(&image, &background);
            shading.ShadeCorrection(&copy, &copy);
            return std::pair(PixelsOf(background), PixelsOf(copy));
        };
        const auto [background, pixels] = corrected(Shading(c.given));
        EXPECT_EQ(std::pair(background, pixels), corrected(Shading(c.used)));
        EXPECT_LE(100, *std::min_element(background.begin(), background.end()));
        Shading(c.given).GetBackgroundShade(&image, &empty);
    }
}

TEST(Shading, RejectsOtherTypes) {
    const auto background = [](Images i, const double*) { KrLShadeCorrection().GetBackgroundShade(i[0], i[1]); };
    const auto correction = [](Images i, const double*) { KrLShadeCorrection().ShadeCorrection(i[0], i[1]); };
    CheckDispatch({{L"GetBackgroundShade( %s, %s )", 52, "11 44", background},
                   {L"ShadeCorrection( %s, %s )", 339, "11 44", correction}},
                  ShadeCorrectionOperations(), L"C\\ipLShadeCorr");
}

}  // namespace
}  // namespace test
