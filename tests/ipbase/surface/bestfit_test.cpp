// Fitted surfaces against known ones and against the normal equations, solved in extended precision.
#include "ipbase/ipLBestFit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <set>

#include "imagemodel/krbufferaoi.h"
#include "tests/support/harness.h"

namespace {

using namespace KrN;

const wchar_t* const kFile = L"C\\ipLBestFit";
constexpr int kTerms = KrLBestFit::kTerms;
using Coefficients = std::array<long double, kTerms>;
using Use = std::array<int, kTerms>;
constexpr Use kAll = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};

Coefficients Basis(long double x, long double y) {
    return {x * x * x, x * x, x, y * y * y, y * y, y, x * y * y, x * x * y, x * y, 1.0L};
}
long double Evaluate(const Coefficients& c, long double x, long double y) {
    const Coefficients basis = Basis(x, y);
    long double f = 0;
    for (std::size_t i = 0; i < c.size(); ++i) f += c[i] * basis[i];
    return f;
}

struct Fit : KrLBestFit {
    void Run(const KrAOI* src, KrAOI* dst, const KrAOI8* mask, const KrAOI8* drawMask, int consider, const Use& u) {
        Approximation(src, dst, mask, drawMask, static_cast<MaskConsideration>(consider), u[0], u[1], u[2], u[3], u[4],
                      u[5], u[6], u[7], u[8], u[9]);
    }
    Coefficients Found() const {
        Coefficients c;
        std::copy_n(GetCoefficients(), kTerms, c.begin());
        return c;
    }
    using KrLBestFit::dmatrix;
    using KrLBestFit::free_dmatrix;
    using KrLBestFit::gaussj;
    using KrLBestFit::load_koeff;
    using KrLBestFit::save_koeff;
};

// As functions of the coordinates of the surface, which begin at 1.
template <class T, class F>
void FillWith(KrTAOI<T>& image, const F& value) {
    test::Fill(image, [&](int x, int y) { return value(x + 1, y + 1); });
}

// The normal equations by definition; coordinates are scaled by the size, which changes no solution.
template <class AOI>
Coefficients Literal(const AOI& src, const KrAOI8* mask, const Use& use) {
    const long double w = src.AOIWidth(), h = src.AOIHeight();
    long double a[kTerms][kTerms + 1] = {};
    for (int y = 0; y < src.AOIHeight(); ++y)
        for (int x = 0; x < src.AOIWidth(); ++x) {
            if (mask && mask->GetRowPointer(y)[x] >= 64) continue;
            const Coefficients basis = Basis((x + 1) / w, (y + 1) / h);
            for (std::size_t i = 0; i < kTerms; ++i) {
                for (std::size_t j = 0; j < kTerms; ++j) a[i][j] += basis[i] * basis[j];
                a[i][kTerms] += basis[i] * static_cast<long double>(src.GetRowPointer(y)[x]);
            }
        }
    for (std::size_t i = 0; i < kTerms; ++i)
        for (std::size_t j = 0; j <= kTerms; ++j)
            if (use[i] == 0 || (j < kTerms && use[j] == 0)) a[i][j] = i == j ? 1.0L : 0.0L;
    for (std::size_t k = 0; k < kTerms; ++k) {  // positive definite: no pivoting
        for (std::size_t j = kTerms + 1; j-- > k;) a[k][j] /= a[k][k];
        for (std::size_t i = 0; i < kTerms; ++i)
            for (std::size_t j = kTerms + 1; i != k && j-- > k;) a[i][j] -= a[k][j] * a[i][k];
    }
    Coefficients c;
    const Coefficients scale = Basis(w, h);
    for (std::size_t i = 0; i < kTerms; ++i) c[i] = a[i][kTerms] / scale[i];
    return c;
}

// The greatest difference of two surfaces over the image, as a part of the range of the second.
long double Deviation(const Coefficients& found, const Coefficients& wanted, int w, int h) {
    long double largest = 0, least = HUGE_VALL, greatest = -HUGE_VALL;
    for (int i = 0; i <= 40; ++i)
        for (int j = 0; j <= 40; ++j) {
            const long double x = 1 + (w - 1) * i / 40.0L, y = 1 + (h - 1) * j / 40.0L, f = Evaluate(wanted, x, y);
            largest = std::max(largest, std::fabs(Evaluate(found, x, y) - f));
            least = std::min(least, f);
            greatest = std::max(greatest, f);
        }
    return largest / std::max(greatest - least, 1e-300L);
}

constexpr Use kSets[] = {kAll,
                         {0, 0, 1, 0, 0, 1, 0, 0, 0, 1},  // a plane
                         {0, 1, 1, 0, 1, 1, 0, 0, 1, 1},  // quadratic
                         {1, 0, 0, 0, 0, 0, 0, 0, 0, 1},  // depends on the origin
                         {0, 1, 0, 1, 0, 0, 0, 1, 0, 0},
                         {0, 0, 0, 0, 0, 0, 1, 0, 1, 1}};

TEST(BestFit, FindsAKnownSurfaceInALargeImage) {
    constexpr short side = 4096;
    KrBufferAOI32Float image({side, side});
    const Coefficients known = {3e-10L, -2e-6L, 1e-2L, -5e-10L, 1e-6L, 3e-3L, 2e-10L, -4e-10L, 1e-6L, 30.0L};
    FillWith(image, [&](int x, int y) { return static_cast<double>(Evaluate(known, x, y)); });
    Fit fit;
    fit.Run(&image, &image, nullptr, nullptr, eIgnoreMask, kAll);
    EXPECT_LT(Deviation(fit.Found(), known, side, side), 1e-9L);  // the pixels are rounded to single precision
    EXPECT_NEAR(image.GetRowPointer(1000)[3000], static_cast<double>(Evaluate(known, 3001, 1001)), 1e-4);
}

template <class AOI>
void CheckFit(const test::Drawing& draw) {
    constexpr DeviceType type = KrTPixel<typename AOI::Pixel>::device;
    const bool large = draw(20) == 0;
    const int cx = static_cast<int>(draw(large ? 600 : 40)), cy = static_cast<int>(draw(large ? 100 : 20));
    const test::Form form = draw(4) == 0 ? test::Form::eRowless : test::Form::eView;
    const test::DirectAccess access(draw(4) != 0);
    const Use& use = test::Drawn(draw, kSets);
    const int consider = static_cast<int>(draw(5)) - 1;
    const bool masked = draw(2) != 0, drawMasked = draw(2) != 0;
    test::GuardedImage src(type, cx, cy, draw(1 << 16), form), mask(eDev8, cx, cy, draw(1 << 16), form);
    const int narrower = static_cast<int>(draw(2) ? 0 : draw(15));
    test::GuardedImage drawMask(eDev8, std::max(0, cx - narrower), cy, draw(1 << 16), form);
    test::GuardedImage dst(eDev32Float, cx, cy, 2, form), wanted(eDev32Float, cx, cy, 2);
    const double amplitude = type == eDev8 ? 50 : type == eDev16 ? 20000 : -3;
    src.Fill([&](int x, int y) {
        const double v =
            amplitude * (2 + std::sin(x / 40.0) * std::cos(y / 25.0)) + static_cast<int>(src.Get(x, y)) % 8;
        return type == eDev32Float ? v : std::floor(v);
    });
    mask.Fill([&](int x, int y) {
        return large ? std::hypot(x - 0.6 * cx, 2.0 * y - cy) < 0.45 * cx ? 63.0 : 64.0 : mask.Get(x, y);
    });
    const std::vector<unsigned char> before = dst.memory;
    std::set<Coefficients> found;
    std::set<std::vector<unsigned char>> drawn;
    Fit fit;
    test::ForEachTarget([&](std::int64_t) {
        dst.memory = before;
        fit.Run(src.image.get(), dst.image.get(), masked ? static_cast<KrAOI8*>(mask.image.get()) : nullptr,
                drawMasked ? static_cast<KrAOI8*>(drawMask.image.get()) : nullptr, consider, use);
        found.insert(fit.Found());
        drawn.insert(dst.memory);
    });
    ASSERT_TRUE(found.size() == 1 && drawn.size() == 1) << "the targets differ";
    for (int i = 0; i < kTerms; ++i) {
        const double c = fit.GetCoefficients()[i];
        const bool used = use[static_cast<std::size_t>(i)] != 0;
        ASSERT_TRUE(used ? std::isfinite(c) : c == 0);
        char text[32];
        std::snprintf(text, sizeof text, "%.6E", c);
        EXPECT_STREQ(used ? text : "null", fit.GetCoefficientText(i));
    }
    const auto isAdmitted = [&](int x, int y) { return !masked || mask.Get(x, y) < 64; };
    int admittedPixels = 0, lastX = 0, lastY = 0;
    for (int y = 0; y < cy; ++y)
        for (int x = 0; x < cx; ++x)
            if (isAdmitted(x, y)) ++admittedPixels, lastX = x, lastY = y;
    EXPECT_EQ(fit.IsEverythingMasked() != 0, admittedPixels == 0);
    const double range = 40 * std::abs(amplitude);
    if (admittedPixels == 1) {  // too few for the terms, and yet right there
        EXPECT_NEAR(static_cast<double>(Evaluate(fit.Found(), lastX + 1, lastY + 1)), src.Get(lastX, lastY),
                    1e-6 * range);
    }
    if (cx >= 12 && cy >= 8) {  // enough for all terms
        KrBufferAOI32Float plain({static_cast<short>(cx), static_cast<short>(cy)});
        KrBufferAOI8 admitted(plain.AOISize());
        test::Fill(plain, [&](int x, int y) { return src.Get(x, y); });
        test::Fill(admitted, [&](int x, int y) { return isAdmitted(x, y) ? 0 : 64; });
        EXPECT_LT(Deviation(fit.Found(), Literal(plain, &admitted, use), cx, cy), large ? 1e-10L : 1e-7L)
            << cx << " x " << cy;
    }
    wanted.Fill([&](int x, int y) {
        const double got = dst.Get(x, y), old = wanted.Get(x, y);
        if (consider < 0 || consider > 2 || (consider > 0 && drawMasked && x >= drawMask.place.cx)) return old;
        if (consider > 0 && drawMasked && drawMask.Get(x, y) >= 64) return consider == 1 ? 0.0 : old;
        const auto f = static_cast<double>(Evaluate(fit.Found(), x + 1, y + 1));
        EXPECT_NEAR(f, got, 1e-6 * std::max(range, std::fabs(f))) << x << ' ' << y;
        return got;
    });
    ASSERT_EQ(wanted.memory, dst.memory);
}

DRAWN_TEST(BestFit, EqualsTheNormalEquations, 900) {
    void (*const checks[])(const test::Drawing&) = {CheckFit<KrAOI8>, CheckFit<KrAOI16>, CheckFit<KrAOI32Float>};
    test::Drawn(draw, checks)(draw);
}

TEST(BestFit, RejectsOtherTypesAndChangesNothing) {
    KrBufferAOI8 src({4, 3}, 0);
    KrBufferAOI16 wrong({4, 3});
    KrBufferAOI64Double fine({4, 3});
    KrBufferAOI32Float dst({4, 3});
    src.SetAOIName(L"src");
    Fit fit;
    fit.Run(&src, &dst, nullptr, nullptr, eIgnoreMask, kAll);
    const std::pair<const KrAOI*, KrAOI*> operands[] = {
        {&src, &wrong}, {&fine, &dst}, {nullptr, &dst}, {&src, nullptr}};
    for (const auto& [a, b] : operands) {
        const auto run = [&, a = a, b = b] { fit.Run(a, b, nullptr, nullptr, 0, {}); };
        test::ExpectError(run, kFile, 1141);
        EXPECT_STRNE(fit.GetCoefficientText(0), "null");
    }
    test::ExpectError([&] { fit.Run(&src, &wrong, nullptr, &src, 0, kAll); }, kFile, 1141,
                      L"KrLBestFit::Approximation( src, , (null), src )");
}

TEST(BestFit, EliminationInverts) {
    Fit fit;
    double** a = fit.dmatrix(1, 3, 1, 3);
    double** b = fit.dmatrix(1, 3, 1, 1);
    const double start[3][3] = {{0, 2, 1}, {1, 0, 3}, {4, 1, 0}};
    for (int i = 0; i < 3; ++i) std::copy_n(start[i], 3, a[i + 1] + 1);
    EXPECT_EQ(fit.gaussj(a, 3, b, 1), 0);
    for (int i = 0; i < 3; ++i)
        for (int j = 1; j <= 3; ++j) {
            const double product = start[i][0] * a[1][j] + start[i][1] * a[2][j] + start[i][2] * a[3][j];
            EXPECT_NEAR(product, i + 1 == j ? 1 : 0, 1e-14);
        }
    // It gives up at pivots of exactly 0 alone: here the second one is about 1e-15.
    const double tiny[2][2] = {{1, 1}, {1, 1 + 1e-15}};
    for (int i = 0; i < 2; ++i) std::copy_n(tiny[i], 2, a[i + 1] + 1);
    EXPECT_EQ(fit.gaussj(a, 2, b, 1), 0);
    for (int i = 1; i <= 3; ++i) std::fill_n(a[i] + 1, 3, 1.0);
    EXPECT_EQ(fit.gaussj(a, 3, b, 1), -1);
    fit.free_dmatrix(a, 1, 3, 1, 3);
    fit.free_dmatrix(b, 1, 3, 1, 1);
    fit.load_koeff();
    fit.save_koeff();
    for (int i = 0; i < kTerms; ++i) EXPECT_STREQ(fit.GetCoefficientText(i), "0.000000E+00");
}

}  // namespace
