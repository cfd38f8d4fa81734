// Logic, minimum and maximum, thresholds: every operation, against its formula.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "ipbase/ipLLogic.h"
#include "ipbase/ipLMinMax.h"
#include "ipbase/ipLThreshold.h"
#include "ipbase/point/operations.h"
#include "tests/support/harness.h"

namespace {

using namespace test;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

std::uint32_t Int(double v) { return static_cast<std::uint32_t>(v); }

// Two images, or an image and a mask.
template <int operation>
double Logic(P p, X x) {
    const DeviceType type = x.types.back();
    const std::uint32_t a = Int(p[0]), b = x.types.size() == 3 ? Int(p[1]) : Int(x.c[0]);
    const std::uint32_t bits = operation / 2 == 0 ? a & b : operation / 2 == 1 ? a | b : a ^ b;
    return Wrap(operation % 2 ? ~bits : bits, type);
}

using LogicPair = void (KrLLogic::*)(const KrAOI*, const KrAOI*, KrAOI*);
using LogicMask = void (KrLLogic::*)(const KrAOI*, std::uint32_t, KrAOI*);
thread_local KrLLogic logic;
thread_local KrLMinMax minMax;
thread_local KrLThreshold threshold;

template <LogicPair method>
void RunPair(I i, C) {
    (logic.*method)(i[0], i[1], i[2]);
}
template <LogicMask method>
void RunMask(I i, C c) {
    (logic.*method)(i[0], Int(*c), i[1]);
}
template <int operation, LogicPair method>
OpCase Pair(const wchar_t* format, std::uint32_t line) {
    return {format, line, "111 114 144 414 444", RunPair<method>, Logic<operation>, {{}}, true};
}
template <int operation, LogicMask method>
OpCase Mask(const wchar_t* format, std::uint32_t line) {
    const std::vector<std::vector<double>> masks = {{0x5A}, {4294967295.0}, {0}, {0xABCD}, {0x12345678}};
    return {format, line, "11 14 44", RunMask<method>, Logic<operation>, masks, true};
}

// clang-format off
std::vector<OpCase> LogicCases() {
    using L = KrLLogic;
    return {
        Pair<0, &L::And>(L"And( %s, %s, %s )", 74),      Mask<0, &L::And>(L"And( %s, %d, %s )", 108),
        Pair<1, &L::Nand>(L"Nand( %s, %s, %s )", 622),   Mask<1, &L::Nand>(L"Nand( %s, %d, %s )", 656),
        Pair<2, &L::Or>(L"Or( %s, %s, %s )", 1164),      Mask<2, &L::Or>(L"Or( %s, %d, %s )", 1198),
        Pair<3, &L::Nor>(L"Nor( %s, %s, %s )", 1740),    Mask<3, &L::Nor>(L"Nor( %s, %d, %s )", 1774),
        Pair<4, &L::Xor>(L"Xor( %s, %s, %s )", 2282),    Mask<4, &L::Xor>(L"Xor( %s, %d, %s )", 2316),
        Pair<5, &L::XNor>(L"XNor( %s, %s, %s )", 2808),  Mask<5, &L::XNor>(L"XNor( %s, %d, %s )", 2842),
        {L"Not( %s )", 3310, "1 4", [](I i, C) { logic.Not(i[0]); },
         [](P p, X x) { return Wrap(-1 - p[0], x.types[0]); }, {{}}, true}};
}

double Whole(double v) { return std::isnan(v) ? 0.0 : std::trunc(v); }

std::vector<OpCase> MinMaxCases() {
    const std::vector<std::vector<double>> constants = {
        {99.5}, {99.4}, {-3}, {0}, {255}, {256}, {300}, {40000.7}, {65535.5}, {1e300}, {-kInf}, {kInf}, {kNaN}};
    return {
        {L"Min( %s, %s, %s )", 52, "111 444", [](I i, C) { minMax.Min(i[0], i[1], i[2]); },
         [](P p, X) { return std::min(p[0], p[1]); }, {{}}, true},
        {L"Max( %s, %s, %s )", 249, "111 444", [](I i, C) { minMax.Max(i[0], i[1], i[2]); },
         [](P p, X) { return std::max(p[0], p[1]); }, {{}}, true},
        {L"Min( %s, %f, %s )", 438, "11 44", [](I i, C c) { minMax.Min(i[0], *c, i[1]); },
         [](P p, X x) { return Clip(std::min(p[0], Whole(*x.c + 0.5)), x.types[1]); }, constants, true},
        {L"Max( %s, %f, %s )", 592, "11 44", [](I i, C c) { minMax.Max(i[0], *c, i[1]); },
         [](P p, X x) { return Clip(std::max(p[0], Whole(*x.c + 0.5)), x.types[1]); }, constants, true}};
}

double Value(double v, X x) { return Wrap(Whole(v), x.types[1]); }
bool IsBetween(double a, C c) { return !(c[0] > c[1]) && a >= Whole(c[0]) && a <= (std::isnan(c[1]) ? 0.0 : c[1]); }

std::vector<OpCase> ThresholdCases() {
    const std::vector<std::vector<double>> one = {
        {100.9, 7}, {0, 255}, {-0.5, 9}, {-7, 9}, {255, 256.9}, {256, 3}, {300, 3}, {1e300, 5}, {-kInf, -1},
        {kNaN, kNaN}, {254.999, -0.9}};
    const std::vector<std::vector<double>> two = {
        {50.9, 180.2, 7}, {180, 50, 7}, {100, 100, 300}, {100.2, 100.9, 1}, {100.9, 100.2, 1}, {-20, -0.5, 4},
        {-20, 30, 4}, {200, 1e9, -3}, {0, 255, 6}, {-kInf, kInf, 8}, {256, 300, 9}, {700.5, 40000.5, 70000},
        {0, 65535, 5}, {60000, 1e300, 11}};
    return {
        {L"ThreshHigh( %s, %s, %lf, %lf )", 39, "11", [](I i, C c) { threshold.High(i[0], i[1], c[0], c[1]); },
         [](P p, X x) { return p[0] >= Whole(x.c[0]) ? Value(x.c[1], x) : p[0]; }, one, true},
        {L"ThreshLow( %s, %s, %lf, %lf )", 92, "11", [](I i, C c) { threshold.Low(i[0], i[1], c[0], c[1]); },
         [](P p, X x) { return !(x.c[0] < 0) && p[0] <= Whole(x.c[0]) ? Value(x.c[1], x) : p[0]; }, one, true},
        {L"Between( %s, %s, (%lf, %lf), %lf )", 146, "11",
         [](I i, C c) { threshold.Between(i[0], i[1], {c[0], c[1]}, c[2]); },
         [](P p, X x) { return IsBetween(p[0], x.c) ? Value(x.c[2], x) : p[0]; }, two, true},
        {L"NotBetween( %s, %s, (%lf, %lf), %lf )", 205, "11 44",
         [](I i, C c) { threshold.NotBetween(i[0], i[1], {c[0], c[1]}, c[2]); },
         [](P p, X x) {
             const bool words = p[0] >= Whole(x.c[0]) && p[0] <= Whole(x.c[1]);
             return (x.types[0] == eDev8 ? IsBetween(p[0], x.c) : words) ? p[0] : Value(x.c[2], x);
         }, two, true}};
}
// clang-format on

const Listed kListed(LogicCases(), MinMaxCases(), ThresholdCases());

TEST(Logic, DispatchAndErrors) {
    CheckDispatch(LogicCases(), LogicOperations(), L"C\\ipLLogic");
    CheckDispatch(MinMaxCases(), MinMaxOperations(), L"C\\ipLMinMax");
    CheckDispatch(ThresholdCases(), ThresholdOperations(), L"C\\ipLThreshold");
}

TEST(Logic, PixelsOnEveryTarget) { CheckPixels(LogicCases()); }
TEST(MinMax, PixelsOnEveryTarget) { CheckPixels(MinMaxCases()); }
TEST(Threshold, PixelsOnEveryTarget) { CheckPixels(ThresholdCases()); }

TEST(Logic, ClearIsThatOfTransfer) {
    KrBufferAOI16 image({2, 1});
    logic.Clear(&image, 70000.9);
    EXPECT_EQ(4464, *image.GetPointer({1, 0}));
    ExpectNotImplemented([] { logic.Clear(nullptr, 1.0); }, L"C\\ipLTrans", 288, L"Clear( (null), 1 )");
}

}  // namespace
