// Backgrounds and corrected images against plain loops over pictures of all kinds.
#include "ipbase/ipLShadeCorr.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/filter_pictures.h"
#include "tests/support/literal_filters.h"

namespace test {
namespace {

struct Parameters {
    std::uint32_t kw = 3, kh = 3, dilatations = 3, factor = 12;
};

struct Shading : KrLShadeCorrection {
    explicit Shading(const Parameters& p = {}) {
        SetKernelSize({p.kw, p.kh});
        SetDilatationNum(p.dilatations);
        SetReduceFactor(p.factor);
    }
};

// With a background of the test's own.
template <class T>
struct GivenBackground : KrLShadeCorrection {
    explicit GivenBackground(const Picture<T>& shade) : mShade(shade) {}
    void mGetBackgroundShade88SW(KrTBuf2D<std::uint8_t>& src, KrTBuf2D<std::uint8_t>& dst) override { Give(src, dst); }
    void mGetBackgroundShade1616SW(KrTBuf2D<std::uint16_t>& src, KrTBuf2D<std::uint16_t>& dst) override {
        Give(src, dst);
    }
    template <class S>
    void Give(const KrTBuf2D<S>&, KrTBuf2D<S>& dst) {
        dst.Resize(static_cast<std::size_t>(mShade.cx), static_cast<std::size_t>(mShade.cy));
        std::copy(mShade.pixels.begin(), mShade.pixels.end(), dst.Row(0));
    }
    Picture<T> mShade;
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

template <class T>
Picture<T> Part(Picture<T> in, int cx, int cy) {
    return Draw<T>(cx, cy, [&](int x, int y) { return in.At(x, y); });
}

constexpr Parameters kParameters[] = {{},           {2, 5, 1, 7}, {4, 1, 2, 1},    {5, 4, 0, 3},
                                      {1, 1, 9, 2}, {9, 7, 6, 5}, {3, 2, 500, 20}, {0, 3, 1, 0}};
constexpr KrTSize<int> kSizes[] = {{1, 1}, {5, 3}, {6, 30}, {100, 50}, {131, 67}};

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
void CheckPicture(const Picture<T>& picture, const Parameters& p) {
    Shading shading(p);
    const auto background = LiteralBackground(picture, p);
    CheckLayouts(picture, background,
                 [&](KrAOI* src, KrAOI* dst) { shading.GetBackgroundShade(src, dst ? dst : src); });

    const auto corrected = LiteralCorrection(picture, background);
    for (const Form form : {Form::eView, Form::eRowless}) {
        Canvas<T> whole(picture, form, 0, 0);
        const auto expected = whole.Expected(corrected);
        shading.ShadeCorrection(whole.AOI(), whole.AOI());
        ASSERT_EQ(expected, whole.Memory());

        // The other image makes the region smaller.
        const auto part = Part(picture, (picture.cx + 1) / 2, picture.cy);
        Canvas<T> image(picture, form, 0, 0), other(part, form, 0, 5);
        const auto limited = image.Expected(LiteralCorrection(part, LiteralBackground(part, p)));
        const auto untouched = other.Memory();
        shading.ShadeCorrection(image.AOI(), other.AOI());
        ASSERT_EQ(limited, image.Memory());
        ASSERT_EQ(untouched, other.Memory());
    }
}

TEST(Shading, EqualsPlainLoops) {
    ForEachTarget([](std::int64_t) {
        Random random(11);
        for (const Parameters& p : kParameters)
            for (const KrTSize<int>& size : kSizes) {
                SCOPED_TRACE(testing::Message()
                             << "kernel " << p.kw << " x " << p.kh << ", " << p.dilatations << " times, factor "
                             << p.factor << " on " << size.cx << " x " << size.cy);
                for (const auto& picture : Pictures<std::uint8_t>(size.cx, size.cy, random)) CheckPicture(picture, p);
                for (const auto& picture : Pictures<std::uint16_t>(size.cx, size.cy, random)) CheckPicture(picture, p);
                if (testing::Test::HasFatalFailure()) return;
            }
    });
}

// All pairs of pixel and background values may occur, in any order.
template <class T>
void CheckDivision() {
    Random random(5);
    for (const int cx : {1, 7, 300, 1000})
        for (const unsigned least : {1u, 30u, 200u}) {
            const auto picture = RandomPicture<T>(cx, 40, random);
            auto shade = RandomPicture<T>(cx, 40, random);
            for (T& value : shade.pixels) value = random() % 16 ? std::max(value, static_cast<T>(least)) : T{0};
            GivenBackground<T> shading(shade);
            Canvas<T> canvas(picture, Form::eView, 0, 0);
            const auto expected = canvas.Expected(LiteralCorrection(picture, shade));
            shading.ShadeCorrection(canvas.AOI(), canvas.AOI());
            ASSERT_EQ(expected, canvas.Memory());
        }
}

TEST(Shading, DividesByAnyBackground) {
    ForEachTarget([](std::int64_t) {
        CheckDivision<std::uint8_t>();
        CheckDivision<std::uint16_t>();
    });
}

TEST(Shading, RefusesABackgroundOfAnotherSize) {
    const Picture<std::uint8_t> picture{2, 2, {1, 2, 3, 4}};
    GivenBackground<std::uint8_t> shading({2, 1, {9, 9}});
    Canvas<std::uint8_t> canvas(picture, Form::eView, 0, 0);
    const auto before = canvas.Memory();
    EXPECT_TRUE(Thrown([&] { shading.ShadeCorrection(canvas.AOI(), canvas.AOI()); }));
    EXPECT_TRUE(Thrown([&] { shading.GetBackgroundShade(canvas.AOI(), canvas.AOI()); }));
    EXPECT_EQ(before, canvas.Memory());
}

// Each stage of the enlargement of an even image takes one step away; what is black remains black.
TEST(Shading, LightsEvenImagesFully) {
    for (const auto& [grey, background, corrected] :
         {std::tuple{255, 253, 255}, {100, 98, 255}, {3, 1, 255}, {2, 0, 0}, {0, 0, 0}}) {
        KrBufferAOI8 image({100, 50}), found({100, 50});
        for (int i = 0; i < 5000; ++i) image.GetRowPointer(0)[i] = static_cast<std::uint8_t>(grey);
        KrLShadeCorrection().GetBackgroundShade(&image, &found);
        KrLShadeCorrection().ShadeCorrection(&image, &found);
        for (int i = 0; i < 5000; ++i) {
            ASSERT_EQ(background, found.GetRowPointer(0)[i]);
            ASSERT_EQ(corrected, image.GetRowPointer(0)[i]);
        }
    }
}

TEST(Shading, HasDefaultsAndToleratesAnyParameters) {
    struct Plain : KrLShadeCorrection {
        using KrLShadeCorrection::GetDilatationNum;
        using KrLShadeCorrection::GetKernelSize;
        using KrLShadeCorrection::GetReduceFactor;
    } plain;
    EXPECT_TRUE(plain.GetKernelSize() == (KrTSize<std::uint32_t>{3, 3}));
    EXPECT_EQ(3u, plain.GetDilatationNum());
    EXPECT_EQ(12u, plain.GetReduceFactor());
    const std::uint32_t huge = 4000000000u;
    Random random(2);
    for (const Parameters& p : {Parameters{huge, huge, huge, 1}, {3, 3, huge, huge}, {1, huge, 1, 2}, {0, 0, 0, 0}}) {
        const auto picture = RandomPicture<std::uint16_t>(9, 5, random);
        Canvas<std::uint16_t> canvas(picture, Form::eView, 0, 0);
        Shading(p).ShadeCorrection(canvas.AOI(), canvas.AOI());
        KrBufferAOI16 empty;
        Shading(p).GetBackgroundShade(canvas.AOI(), &empty);
    }
}

TEST(Shading, RejectsOtherTypes) {
    const auto background = [](Images images, const double*) { Shading().GetBackgroundShade(images[0], images[1]); };
    const auto correction = [](Images images, const double*) { Shading().ShadeCorrection(images[0], images[1]); };
    CheckDispatch({{L"GetBackgroundShade( %s, %s )", 52, "11 44", background},
                   {L"ShadeCorrection( %s, %s )", 339, "11 44", correction}},
                  ShadeCorrectionOperations(), L"C\\ipLShadeCorr");
}

}  // namespace
}  // namespace test
