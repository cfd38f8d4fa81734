// The gradients against their definition, computed step by step on whole images.
#include "ipbase/ipGradient.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "ipbase/gradient/sums.h"
#include "ipbase/kernels/gradient.h"
#include "tests/support/harness.h"

namespace {

using namespace KrN;

// A literal image: S is the type of the sums.
template <class S>
struct Plane {
    int w, h;
    std::vector<S> v = std::vector<S>(static_cast<std::size_t>(w * h));
    S& operator()(int x, int y) { return v[static_cast<std::size_t>(y * w + x)]; }
    S At(int x, int y) const {
        return x < 0 || y < 0 || x >= w || y >= h ? S{0} : v[static_cast<std::size_t>(y * w + x)];
    }
};

// The sums of n steps along a line of `length` steps, those at `place` being read and the result added there.
template <class S, class Get, class Add>
void LineSums(int length, int n, bool back, bool fromFarEnd, const Get& step, const Add& add) {
    if (back ? n >= length : n > length) {
        S sum = 0;
        for (int i = 0; i < length; ++i) sum += step(i);
        if (!back) add(0, sum);
        return;
    }
    const int count = back ? length - n : length - n + 1;
    S sum = 0;
    for (int i = 0; i < n; ++i) sum += step(i + (fromFarEnd ? count - 1 : 0));
    for (int i = 0; i < count; ++i) {
        const int k = fromFarEnd ? count - 1 - i : i;
        if (i > 0) sum = fromFarEnd ? (sum - step(k + n)) + step(k) : (sum - step(k - 1)) + step(k + n - 1);
        add(back ? k + n : k, back ? -sum : sum);
    }
}

template <class S>
void Sums(const Plane<S>& steps, bool columns, int n, bool back, Plane<S>& sums) {
    for (int line = 0; line < (columns ? steps.w : steps.h); ++line) {
        const auto step = [&](int i) { return columns ? steps.At(line, i) : steps.At(i, line); };
        const auto add = [&](int i, S s) { (columns ? sums(line, i) : sums(i, line)) += s; };
        LineSums<S>(columns ? steps.h : steps.w, n, back, back && !columns, step, add);
    }
}

// fill: of the border. Bytes and doubles wrap their steps.
template <class T, class S>
Plane<S> Literal(const Plane<T>& src, int dx, int dy, S fill) {
    const int w = src.w, h = src.h;
    const auto step = [](T a, T next) -> S {
        if constexpr (std::is_same_v<T, float>)
            return next - a;
        else
            return static_cast<S>((static_cast<int>(next) - static_cast<int>(a) - 128) & 255);
    };
    Plane<S> horizontal{w, h}, vertical{w, h}, along{w, h}, down{w, h}, g{w, h};
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            along(x, y) = step(src.At(x, y), src.At(x + 1, y));
            down(x, y) = step(src.At(x, y), src.At(x, y + 1));
        }
    if (dx != 0) Sums(along, false, std::abs(dx), dx < 0, horizontal);
    if (dy != 0) Sums(down, true, std::abs(dy), dy < 0, vertical);
    for (std::size_t i = 0; i < g.v.size(); ++i) horizontal.v[i] += vertical.v[i];
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const int a = std::abs(dx), b = std::abs(dy);
            const bool border = x < a || x >= w - a || y < b || y >= h - b;
            g(x, y) = border ? fill : horizontal.At(x, y) - horizontal.At(x - dx, y - dy);
        }
    return g;
}

Plane<std::uint8_t> Stretched(const Plane<float>& g) {
    Plane<std::uint8_t> out{g.w, g.h};
    const double least = *std::min_element(g.v.begin(), g.v.end());
    const double greatest = *std::max_element(g.v.begin(), g.v.end());
    for (std::size_t i = 0; i < g.v.size(); ++i)
        if (greatest > least) out.v[i] = static_cast<std::uint8_t>((g.v[i] - least) * 255.0 / (greatest - least));
    return out;
}

template <class T>
Plane<T> Expected(const Plane<T>& src, int dx, int dy, int infinite) {
    dx = std::max(dx, -std::numeric_limits<int>::max());  // the least integer has no magnitude
    if constexpr (sizeof(T) == 1)
        return Stretched(Literal<T, float>(src, dx, dy, 0.0f));
    else
        return Literal<T, T>(src, dx, dy, infinite ? std::numeric_limits<T>::infinity() : T{0});
}

enum class Layout { eSeparate, eInPlace, eRowless, eNoDirectAccess };

template <class AOI>
void Check(const Plane<typename AOI::Pixel>& src, int dx, int dy, int infinite, Layout layout) {
    const test::Form form = layout == Layout::eRowless ? test::Form::eRowless : test::Form::eView;
    constexpr DeviceType type = KrTPixel<typename AOI::Pixel>::device;
    test::GuardedImage a(type, src.w, src.h, 1, form), b(type, src.w, src.h, 1, form), wanted(type, src.w, src.h, 1);
    const Plane<typename AOI::Pixel> expected = Expected(src, dx, dy, infinite);
    a.Fill([&](int x, int y) { return double(src.At(x, y)); });
    wanted.Fill([&](int x, int y) { return double(expected.At(x, y)); });
    auto& out = layout == Layout::eInPlace ? a : b;
    const test::DirectAccess access(layout != Layout::eNoDirectAccess);
    const auto* from = static_cast<const AOI*>(a.image.get());
    auto* to = static_cast<AOI*>(out.image.get());
    const auto compute = [&](auto gradient, auto... fill) {
        gradient.Init(from->AOISize());
        gradient.Execute(from, dx, dy, to, fill...);
    };
    if constexpr (type == eDev8) compute(KrGradient());
    if constexpr (type == eDev64Double) compute(KrGradientDouble(), infinite);
    if constexpr (type == eDev32Float) compute(KrGradientFloatNonModulo(), infinite);
    out.Fill([&](int x, int y) {  // where -0 equals 0
        return out.Get(x, y) == wanted.Get(x, y) ? wanted.Get(x, y) : out.Get(x, y);
    });
    ASSERT_EQ(out.memory, wanted.memory) << src.w << " x " << src.h << ", baseline " << dx << ", " << dy << ", layout "
                                         << static_cast<int>(layout);
}

// Of a double only the integer part counts.
template <class T>
Plane<T> RandomPlane(int w, int h, unsigned seed) {
    Plane<T> plane{w, h};
    test::Random random(seed);
    for (T& v : plane.v) v = static_cast<T>(std::is_same_v<T, float> ? random() / 7e4 : random() % 256 + 0.25);
    return plane;
}

template <class AOI>
class Gradient : public testing::Test {};
using Types = testing::Types<KrAOI8, KrAOI32Float, KrAOI64Double>;
TYPED_TEST_SUITE(Gradient, Types);

template <class AOI>
void CheckDrawn(const test::Drawing& draw) {
    using T = typename AOI::Pixel;
    const auto baseline = [&] {
        if (draw(50) == 0) return draw(2) ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
        const int length = static_cast<int>(draw(8) ? draw(12) : draw(4) ? draw(90) : draw(1 << 16) << 15);
        return draw(2) ? length : -length;
    };
    const int w = 1 + static_cast<int>(draw(4) ? draw(30) : draw(140)),
              h = 1 + static_cast<int>(draw(8) ? draw(16) : draw(60));
    const Plane<T> src = RandomPlane<T>(w, h, draw(1 << 16));
    const int dx = baseline(), dy = baseline(), infinite = static_cast<int>(draw(2));
    const auto layout = static_cast<Layout>(draw(4));
    test::ForEachTarget([&](std::int64_t) { Check<AOI>(src, dx, dy, infinite, layout); });
}

DRAWN_TEST(Gradients, EqualsItsDefinition, 6000) {
    void (*const checks[])(const test::Drawing&) = {CheckDrawn<KrAOI8>, CheckDrawn<KrAOI32Float>,
                                                    CheckDrawn<KrAOI64Double>};
    test::Drawn(draw, checks)(draw);
}

// The greatest sums: of steps of 127 up to the middle and of -128 from there on, or of these in turns in the lines
// along the greater side.
TYPED_TEST(Gradient, HoldsTheGreatestSums) {
    using T = typename TypeParam::Pixel;
    const auto check = [](Plane<T>& src, auto value) {
        for (int i = 0; i < src.w * src.h; ++i)
            src(i % src.w, i / src.w) = static_cast<T>(value(i % src.w, i / src.w) % 256);
        for (int dx : {0, 1, 58, -72, 252, -253, 490})
            for (int dy : {0, 1, 61, -70, -252, 490})
                if (2 * std::abs(dx) < src.w && 2 * std::abs(dy) < src.h)
                    Check<TypeParam>(src, dx, dy, 0, Layout::eInPlace);
    };
    test::ForEachTarget([&](std::int64_t) {
        for (const auto& [w, h] : {std::pair<int, int>{1010, 3}, {3, 1010}, {150, 170}}) {
            Plane<T> src{w, h};
            const auto bend = [](int i, int length) { return 127 * i + std::max(i - length / 2, 0); };
            check(src, [&, w = w, h = h](int x, int y) { return bend(x, w) + bend(y, h); });
            check(src, [&, w = w, h = h](int x, int y) { return w > h ? x * (127 + y % 2) : y * (127 + x % 2); });
        }
    });
}

// At the least value of every grey level and the one below it.
template <class S>
void CheckStretch(S least, int step, std::int64_t last) {
    const auto row =
        std::get<kernels::ConstantRow<kernels::u8, S, kernels::Stretched<S>>>(kernels::GetGradientKernels().stretch);
    for (std::int64_t range = 1; range <= last; range += step) {
        std::vector<S> values;
        std::vector<kernels::u8> expected, found(2 * 255);
        for (std::int64_t level = 1; level <= 255; ++level)
            for (std::int64_t v = (level * range + 254) / 255, end = v - 2; v > end; --v) {
                values.push_back(static_cast<S>(least + v));
                expected.push_back(
                    static_cast<kernels::u8>(static_cast<double>(v) * 255.0 / static_cast<double>(range)));
            }
        const kernels::Extremes<S> extremes{least, static_cast<S>(least + range)};
        row(found.data(), values.data(), kernels::Stretched<S>(extremes), found.size());
        ASSERT_EQ(found, expected) << range;
    }
}

// Wrong places give the right pixels in some builds, from memory beside the image.
TEST(GradientSteps, BaselinesLieInTheImage) {
    for (const int dx : {-3, 0, 3})
        for (const int dy : {-2, 0, 2}) {
            const Baselines lines(dx, dy);
            EXPECT_EQ(std::max(-dx, 0), lines.firstX);
            EXPECT_EQ(std::max(-dy, 0), lines.firstY);
        }
}

TEST(GradientStretch, IsTheTruncatedQuotientForAllRanges) {
    test::ForEachTarget([&](std::int64_t) {
        CheckStretch<kernels::u16>(1000, 7, 63480);
        CheckStretch<kernels::i32>(-2000, 4099, 510 * 32766);
    });
}

// The single steps, as derived classes use them: they add to what is there, and go wrong on no baseline.
template <class Base, class Step, class Sum>
struct Open : Base {
    using S = typename Sum::Pixel;
    void Check(short w, short h) {
        Step steps({w, h});
        test::Random random(3);
        test::Fill(steps, [&](int, int) { return random.Uniform(0, 256); });
        const auto read = test::PixelsOf(steps);
        const Plane<S> values{w, h, {read.begin(), read.end()}};
        for (int n : {1, 2, 5, std::max(w - 1, 1), +w, +h, w + 1, 1000})
            for (int kind = 0; kind < 4; ++kind) {
                const bool back = kind & 1, columns = kind & 2;
                Plane<S> expected{w, h};
                std::fill(expected.v.begin(), expected.v.end(), S{4});
                Sums(values, columns, n, back, expected);
                Sum sums({w, h});
                test::Fill(sums, [](int, int) { return 4; });
                const test::DirectAccess access(n != 2);
                if (columns)
                    back ? this->ColSumBack(&steps, n, &sums) : this->ColSum(&steps, n, &sums);
                else
                    back ? this->RowSumBack(&steps, n, &sums) : this->RowSum(&steps, n, &sums);
                ASSERT_EQ(test::PixelsOf(sums), expected.v) << n << " " << kind;
            }
        Sum image({w, h}), bordered({w, h});
        test::Fill(bordered, [=](int x, int y) { return x < 2 || x >= w - 2 || y < 1 || y >= h - 1 ? 9 : 0; });
        this->MaskBoundary(&image, -2, 1, 9);
        ASSERT_EQ(test::PixelsOf(image), test::PixelsOf(bordered));
    }
};

TEST(GradientSteps, AddSumsOfSuccessiveSteps) {
    for (const auto& [w, h] : {std::pair<short, short>{17, 11}, {5, 23}, {1, 1}}) {
        Open<KrGradient, KrBufferAOI8, KrBufferAOI32Float>().Check(w, h);
        Open<KrGradientDouble, KrBufferAOI64Double, KrBufferAOI64Double>().Check(w, h);
        Open<KrGradientFloatNonModulo, KrBufferAOI32Float, KrBufferAOI32Float>().Check(w, h);
    }
}

}  // namespace
