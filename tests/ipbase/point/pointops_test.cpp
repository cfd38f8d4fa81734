// Point arithmetic: every operation, against its formula.
#include <gtest/gtest.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>
#include <tuple>

#include "ipbase/ipArith.h"
#include "ipbase/ipLArith.h"
#include "ipbase/ipLLogic.h"
#include "ipbase/ipLMinMax.h"
#include "ipbase/ipMul.h"
#include "ipbase/kernels/arith.h"
#include "ipbase/kernels/table.h"
#include "ipbase/kernels/targets.h"
#include "ipbase/point/operations.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

// Half down, NaN and infinities 0: a constant of the modulo forms, reduced to 8 bits only between 8-bit images.
double ModuloConstant(double c, const Context& x) {
    const double k = std::floor(c + 0.5);
    if (!std::isfinite(k)) return 0;
    return Wrap(k, x.types[0] == eDev8 && x.types[1] == eDev8 ? eDev8 : eDev16);
}
double ClipConstant(double c) { return std::isnan(c) ? 0 : std::trunc(c + 0.5); }
bool IsFloat(const Context& x) { return x.types.back() >= eDev32Float; }

double AddConstant(const double* px, double c, const Context& x) {
    if (IsFloat(x)) return px[0] + c;
    const double k = ModuloConstant(c, x);
    return k == 0 ? px[1] : Wrap(px[0] + k, x.types[1]);
}
double SubConstant(const double* px, double c, const Context& x) {
    return IsFloat(x) ? px[0] - c : Wrap(px[0] - ModuloConstant(c, x), x.types[1]);
}
double ClippedProduct(double a, double c, DeviceType type) {
    const double v = a * c;
    if (std::isnan(v) || v < 0) return 0;
    return v > (type == eDev8 ? 255 : 65535) ? Clip(v, type) : std::trunc(v + 0.5);
}
double WrappedProduct(double a, double c, DeviceType type) {
    const double v = std::floor(a * c + 0.5);
    return std::isfinite(v) ? Wrap(v, type) : 0;
}

double Centred(const double* px, const Context& x) {
    if (x.types[2] == eDev8) return Wrap(std::trunc((px[0] - px[1]) / 2) + 128, eDev8);
    const double half = x.buffered ? std::trunc((px[0] - px[1]) / 2) : std::floor((px[0] + px[1]) / 2);
    return Wrap(half + 32768, eDev16);
}

double Scale(const double* px, const Context& x) {
    constexpr float top = std::numeric_limits<float>::max();
    const float least = std::min(static_cast<float>(x.region.least), top);
    const float greatest = std::max(static_cast<float>(x.region.greatest), -top);
    if (least == top || greatest == top) return px[1];
    const float low = static_cast<float>(x.c[0]);
    const float range = greatest - least;
    const float factor = std::fabs(range) >= 1.1754944e-38f ? (static_cast<float>(x.c[1]) - low) / range : 0.0f;
    return (static_cast<float>(px[0]) - least) * factor + low;
}
double AbsScale(const double* px, const Context& x) {
    if (x.region.least > x.region.greatest) return px[1];
    const double range = x.region.greatest - x.region.least;
    const double v = (px[0] - x.region.least) * (range > 0 ? (x.c[1] - x.c[0]) / range : 0.0) + x.c[0];
    return IsFloat(x) ? v : Wrap(std::trunc(v), eDev8);
}

double Binarize(const double* px, const Context& x) {
    if (IsFloat(x)) return static_cast<float>(px[0]) < static_cast<float>(x.c[0]) ? x.c[1] : x.c[2];
    const auto level = [](double v) { return std::trunc(std::min(std::max(v + 0.5, 0.0), 255.5)); };
    const double threshold = Wrap(std::trunc(std::min(x.c[0] + 0.5, 255.5)), eDev8);
    return px[0] < threshold ? level(x.c[1]) : level(x.c[2]);
}

std::vector<std::vector<double>> Scalars() {
    constexpr double kInf = std::numeric_limits<double>::infinity();
    // clang-format off
    std::vector<std::vector<double>> all = {
        {3.6}, {-3.5}, {0}, {-0.0}, {0.4}, {0.5}, {1}, {-1}, {-0.4}, {-0.5}, {2}, {4}, {0.25}, {1 / 3.0}, {-1.7},
        {127.5}, {254.5}, {255}, {256}, {300}, {1e-9}, {-300}, {65535}, {65536}, {32768}, {65535.5}, {-65536}, {70000},
        {1e17}, {-1e17}, {1e300}, {-1e300}, {kInf}, {-kInf}, {std::nan("")}, {4294967303.0}, {2147483648.0}, {5e-324}};
    // clang-format on
    Random random(3);
    for (int i = 0; i < 12; ++i) all.push_back({random.Uniform(-400, 400) * (i % 3 ? 1 : 500)});
    return all;
}

// Operations of doubles exist below the dispatch only.
template <class Operation>
void Doubles(Images i, const double*) {
    Operation().Execute(static_cast<const KrAOI64Double*>(i[0]), static_cast<const KrAOI64Double*>(i[1]),
                        static_cast<KrAOI64Double*>(i[2]));
}
void DoublesMinus(Images i, const double* c) {
    KrIpSubMod().Execute(static_cast<const KrAOI64Double*>(i[0]), *c, static_cast<KrAOI64Double*>(i[1]));
}

thread_local KrLArithmetic arith;

const std::vector<OpCase>& Cases() {
    static const std::string pairs = "111 114 144 414 444", constants = "11 14 41 44";
    // clang-format off
    static const std::vector<OpCase> cases = {
        {L"AddModulo( %s, %s, %s )", 105, pairs + " 188 488 888", [](I i, C) { arith.AddModulo(i[0], i[1], i[2]); },
         [](P p, X x) { return Wrap(p[0] + p[1], x.types[2]); }},
        {L"SubModulo( %s, %s, %s )", 225, pairs + " 818 848 888", [](I i, C) { arith.SubModulo(i[0], i[1], i[2]); },
         [](P p, X x) { return Wrap(p[0] - p[1], x.types[2]); }},
        {L"AddClip( %s, %s, %s )", 331, pairs, [](I i, C) { arith.AddClip(i[0], i[1], i[2]); },
         [](P p, X x) { return Clip(p[0] + p[1], x.types[2]); }},
        {L"SubClip( %s, %s, %s )", 434, pairs, [](I i, C) { arith.SubClip(i[0], i[1], i[2]); },
         [](P p, X x) { return Clip(p[0] - p[1], x.types[2]); }},
        {L"AddDiv2( %s, %s, %s )", 538, pairs, [](I i, C) { arith.AddDiv2(i[0], i[1], i[2]); },
         [](P p, X) { return std::floor((p[0] + p[1]) / 2); }},
        {L"SubBoc( %s, %s, %s )", 595, pairs, [](I i, C) { arith.SubBoc(i[0], i[1], i[2]); }, Centred},
        {L"SubAbs( %s, %s, %s )", 656, pairs + " 888", [](I i, C) { arith.SubAbs(i[0], i[1], i[2]); },
         [](P p, X) { return std::fabs(p[0] - p[1]); }},
        {L"SubBoc2( %s, %s, %s )", 918, "111", [](I i, C) { arith.SubBoc2(i[0], i[1], i[2]); },
         [](P p, X) { return Wrap(p[0] - p[1] + 128, eDev8); }, {{}}, true},

        {L"AddModulo( %s, %lf, %s )", 154, constants + " 88", [](I i, C c) { arith.AddModulo(i[0], *c, i[1]); },
         [](P p, X x) { return *x.c < 0 ? SubConstant(p, -*x.c, x) : AddConstant(p, *x.c, x); }, Scalars()},
        {L"SubModulo( %s, %lf, %s )", 276, constants + " 88", [](I i, C c) { arith.SubModulo(i[0], *c, i[1]); },
         [](P p, X x) { return *x.c < 0 ? AddConstant(p, -*x.c, x) : SubConstant(p, *x.c, x); }, Scalars()},
        {L"AddClip( %s, %lf, %s )", 377, constants, [](I i, C c) { arith.AddClip(i[0], *c, i[1]); },
         [](P p, X x) { return Clip(*x.c < 0 ? p[0] - ClipConstant(-*x.c) : p[0] + ClipConstant(*x.c), x.types[1]); },
         Scalars()},
        {L"SubClip( %s, %lf, %s )", 481, constants, [](I i, C c) { arith.SubClip(i[0], *c, i[1]); },
         [](P p, X x) { return Clip(*x.c < 0 ? p[0] + ClipConstant(-*x.c) : p[0] - ClipConstant(*x.c), x.types[1]); },
         Scalars()},
        {L"MultiplyModulo( %s, %g, %s )", 726, constants + " 18 88",
         [](I i, C c) { arith.MultiplyModulo(i[0], *c, i[1]); },
         [](P p, X x) { return IsFloat(x) ? p[0] * *x.c : WrappedProduct(p[0], *x.c, x.types[1]); }, Scalars()},
        {L"MultiplyClip( %s, %g, %s )", 777, constants, [](I i, C c) { arith.MultiplyClip(i[0], *c, i[1]); },
         [](P p, X x) { return ClippedProduct(p[0], *x.c, x.types[1]); }, Scalars()},

        {L"Scale( %s, %s, %lf, %lf )", 848, "88", [](I i, C c) { arith.Scale(i[0], i[1], c[0], c[1]); }, Scale,
         {{0, 1}, {-3.7, 1e6}, {255, 0}}, true},
        {L"AbsScale( %s, %s, %lf, %lf )", 871, "11 88", [](I i, C c) { arith.AbsScale(i[0], i[1], c[0], c[1]); },
         AbsScale, {{0, 255}, {200.6, 17.2}, {-40, 333.3}}, true},
        {L"Binarize( %s, %s, %lf, %lf, %lf )", 895, "11 88",
         [](I i, C c) { arith.Binarize(i[0], i[1], c[0], c[1], c[2]); }, Binarize,
         {{99.5, 0, 255}, {0, 1, 2}, {-7, 300, -5}, {255, 9.4, 9.5}, {1e9, 254.6, 1e9}, {254.4, -1e300, 1e300}},
         true},

        {nullptr, 0, "aaa", Doubles<KrIpAdd>, [](P p, X) { return p[0] + p[1]; }},
        {nullptr, 0, "aaa", Doubles<KrIpSub>, [](P p, X) { return p[0] - p[1]; }},
        {nullptr, 0, "aaa", Doubles<KrIpSubMod>, [](P p, X) { return p[0] - p[1]; }},
        {nullptr, 0, "aa", DoublesMinus, [](P p, X x) { return p[0] - *x.c; }, Scalars()},
    };
    // clang-format on
    return cases;
}

const Listed kListed(Cases());

TEST(PointOps, DispatchAndErrors) { CheckDispatch(Cases(), ArithmeticOperations(), L"C\\ipLArith"); }

TEST(PointOps, PixelsOnEveryTarget) { CheckPixels(Cases()); }

// A target that dispatches to the functions of another one would make the test above meaningless.
TEST(PointOps, TargetsHaveTheirOwnRows) {
    if (!kernels::AreForManyTargets()) GTEST_SKIP() << "built for one target";
    std::set<const void*> byteMaps;
    std::set<kernels::PairRow<std::uint8_t, std::uint8_t, std::uint8_t>> sums;
    std::size_t expectedSums = 1, expectedMaps = 1;  // the baseline, and each target that is compiled beside it
    ForEachTarget([&](std::int64_t target) {
        sums.insert(std::get<0>(kernels::GetArithKernels().addModulo));
        byteMaps.insert(&kernels::GetTableKernels());
        expectedSums += (target & (HWY_SSE4 | HWY_AVX2 | HWY_AVX3)) != 0;
        expectedMaps += (target & HWY_AVX3_DL) != 0;
    });
    EXPECT_EQ(expectedSums, sums.size());
    EXPECT_EQ(expectedMaps, byteMaps.size());
}

// All values of an 8- or 16-bit image times a constant, clipped and modulo, into both widths.
void CheckProducts(DeviceType from, double c) {
    const int height = from == eDev8 ? 1 : 256;
    GuardedImage src(from, 256, height, 1);
    src.Fill([](int x, int y) { return 256 * y + x; });
    for (const DeviceType to : {eDev8, eDev16}) {
        const GuardedImage dst(to, 256, height, 2);
        for (const bool clip : {true, false}) {
            clip ? arith.MultiplyClip(src.image.get(), c, dst.image.get())
                 : arith.MultiplyModulo(src.image.get(), c, dst.image.get());
            for (int a = 0; a < 256 * height; ++a)
                ASSERT_EQ(clip ? ClippedProduct(a, c, to) : WrappedProduct(a, c, to), dst.Get(a % 256, a / 256))
                    << a << " * " << ::testing::PrintToString(c) << (clip ? " clipped" : " modulo");
        }
    }
}

// Whatever stands for the formula must give its value for each input, above all near the ties.
TEST(PointOps, ProductsOfAllValues) {
    Random random(11);
    for (int n = 0; n < 6000; ++n) {
        const double divisor = 1 + random() % 255;
        double c = std::exp2(random.Uniform(-17, 17));
        if (n % 4 == 1) c = (random() % 600 + 0.5) / divisor;  // a * c + 0.5 is an integer for some a
        if (n % 4 == 2) c = std::nextafter((random() % 600 + 0.5) / divisor, n % 8 < 4 ? 0.0 : 1e9);
        if (n % 4 == 3) c = std::ldexp(1 + random() % 65536, static_cast<int>(random() % 28) - 20);
        if (n % 5 == 0) c = -c;
        ASSERT_NO_FATAL_FAILURE(CheckProducts(eDev8, c));
        if (n % 101 != 0) continue;
        ASSERT_NO_FATAL_FAILURE(CheckProducts(eDev16, c));
    }
    for (const double c : {31999.99, -31999.99, 32000.0, 32767.49, 32768.5, -32768.5, -40000.7, 65535.5, 2e14, -2e300})
        ASSERT_NO_FATAL_FAILURE(CheckProducts(eDev16, c));
}

// A literal 0 is a constant, not a null image, and so is any other integer.
TEST(PointOps, IntegersAreConstants) {
    KrBufferAOI8 a({3, 1}), b({3, 1});
    Fill(a, [](int x, int) { return 100 * x; });
    KrLArithmetic arithmetic;
    KrLMinMax extremes;
    KrLLogic logic;
    const std::pair<std::function<void()>, std::vector<std::uint8_t>> cases[] = {
        {[&] { arithmetic.AddClip(&a, 0, &b); }, {0, 100, 200}},
        {[&] { arithmetic.AddClip(&a, 100, &b); }, {100, 200, 255}},
        {[&] { arithmetic.SubModulo(&a, 0, &b); }, {0, 100, 200}},
        {[&] { arithmetic.SubClip(&a, std::int64_t{150}, &b); }, {0, 0, 50}},
        {[&] { arithmetic.AddModulo(&a, 5u, &b); }, {5, 105, 205}},
        {[&] { arithmetic.AddModulo(&a, -1.0f, &b); }, {255, 99, 199}},
        {[&] { extremes.Min(&a, 0, &b); }, {0, 0, 0}},
        {[&] { extremes.Max(&a, 150ull, &b); }, {150, 150, 200}},
        {[&] { logic.And(&a, 0, &b); }, {0, 0, 0}},
        {[&] { logic.Or(&a, std::int64_t{-1}, &b); }, {255, 255, 255}},
        {[&] { logic.Xor(&a, 5u, &b); }, {5, 97, 205}},
        {[&] { logic.Nor(&a, 0, &b); }, {255, 155, 55}},
    };
    for (const auto& [run, expected] : cases) {
        b.Resize(a);
        run();
        EXPECT_EQ(expected, PixelsOf(b));
    }
    static_assert(KrIpSub::Pairs::kHave<float, std::uint8_t, float>);
    static_assert(!KrIpAdd::Pairs::kHave<float, std::uint8_t, float>);
    static_assert(!KrIpMul::Forms::kHave<double, double>);
}

TEST(PointOps, Division) {
    constexpr double epsilon = 2.220446049250313e-16;
    const double below = std::nextafter(epsilon, 0.0);
    const GuardedImage src(eDev8, {0, 1, 100, 255}), dst(eDev8, {7, 7, 7, 7}), wide(eDev64Double, {7});
    for (const double c : {0.0, -0.0, 1e-17, -1e-17, below, -below})
        for (const bool clip : {true, false}) {
            // also for pixel types that are not supported: the divisor is tested first
            const auto divide = [&] {
                clip ? arith.DivideClip(nullptr, c, dst.image.get())
                     : arith.DivideModulo(src.image.get(), c, dst.image.get());
            };
            const auto error = ExpectError(divide, L"C\\ipLArith", clip ? 822 : 799);
            EXPECT_TRUE(dynamic_cast<KrFloatDivideByZeroException*>(error.get())) << c;
            EXPECT_EQ(7, dst.Get(3));
        }
    for (const double c : {3.0, -2.0, 0.3, 1e300, 1.0, epsilon})
        for (int i = 0; i < 4; ++i) {
            arith.DivideClip(src.image.get(), c, dst.image.get());
            EXPECT_EQ(ClippedProduct(src.Get(i), 1 / c, eDev8), dst.Get(i)) << c;
            arith.DivideModulo(src.image.get(), c, dst.image.get());
            EXPECT_EQ(WrappedProduct(src.Get(i), 1 / c, eDev8), dst.Get(i)) << c;
        }
    ExpectNotImplemented([&] { arith.DivideClip(src.image.get(), 0.5, wide.image.get()); }, L"C\\ipLArith", 777,
                         L"MultiplyClip( img, 2, img )");
}

TEST(PointOps, ProductWithOneIsACopy) {
    const GuardedImage src(eDev32, {-5, 70000}), dst(eDev32, {1, 1}), wide(eDev64Double, {1, 2});
    arith.MultiplyClip(src.image.get(), 1.0, dst.image.get());
    EXPECT_EQ(-5, dst.Get(0));
    EXPECT_EQ(70000, dst.Get(1));
    ExpectNotImplemented([&] { arith.MultiplyModulo(wide.image.get(), 1.0, wide.image.get()); }, L"C\\ipLTrans", 77,
                         L"Copy( img, img )");
}

}  // namespace
