// What is found in histograms, extrema and the bimodal threshold, and the value range of an image.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <sstream>

#include "ipbase/ipHistoAnalyzer.h"
#include "ipbase/ipLRange.h"
#include "ipbase/ipRange.h"
#include "tests/support/harness.h"

namespace {

using namespace test;
using Counts = std::vector<std::uint32_t>;

KrLHistogram HistogramOf(const Counts& counts) {
    const KrBufferAOI8 none;
    KrLHistogram histogram;
    histogram.Create(&none, static_cast<std::uint32_t>(counts.size()));
    for (std::uint32_t i = 0; i < counts.size(); ++i) histogram[i] = counts[i];
    return histogram;
}

// "+index:count:prominence" for a maximum, "-..." for a minimum.
std::string Extrema(const Counts& counts, std::uint32_t minProminence) {
    KrHistogramAnalyzer analyzer;
    analyzer.FindExtrema(HistogramOf(counts), minProminence);
    std::ostringstream text;
    for (const SrExtremum& e : analyzer.GetExtrema())
        text << (e.isMaximum ? '+' : '-') << e.index << ':' << e.count << ':' << e.prominence << ' ';
    return text.str();
}

TEST(HistogramAnalyzer, Extrema) {
    const struct {
        Counts counts;
        std::uint32_t minProminence;
        const char* expected;
    } cases[] = {
        {{0, 0, 0}, 0, ""},
        {{9, 9, 9}, 5, "+1:9:9 "},
        {{0, 2, 10, 10, 10, 4, 6, 4, 8, 0}, 1, "+3:10:10 -5:4:4 +6:6:2 -7:4:4 +8:8:4 "},
        {{0, 2, 10, 10, 10, 4, 6, 4, 8, 0}, 3, "+3:10:10 -5:4:4 +8:8:4 "},  // without the ripple
        {{6, 1, 6}, 1, "+0:6:6 -1:1:5 +2:6:6 "},                            // equal peaks
        {{0, 0, 4294967295u, 0, 3}, 2, "+2:4294967295:4294967295 -3:0:3 +4:3:3 "},
    };
    for (const auto& c : cases) EXPECT_EQ(c.expected, Extrema(c.counts, c.minProminence)) << c.minProminence;
}

// The definition, literally: outwards until the counts are beyond that of the extremum, or the ends.
DRAWN_TEST(HistogramAnalyzer, ExtremaAreThoseOfTheDefinition, 400) {
    std::mt19937 random(draw(1 << 16));
    Counts counts(1 + draw(60));
    std::iota(counts.begin(), counts.end(), 1);
    std::shuffle(counts.begin(), counts.end(), random);  // no equal counts
    const int minProminence = 1 + static_cast<int>(draw(40)), size = static_cast<int>(counts.size());
    const auto at = [&](int i) {
        return i < 0 || i >= size ? 0 : static_cast<int>(counts[static_cast<std::size_t>(i)]);
    };
    const auto prominence = [&](int i, int sign) {
        int least = size;
        for (const int step : {-1, 1}) {
            int reach = 0;
            for (int k = i; k >= -1 && k <= size && sign * at(k) <= sign * at(i); k += step)
                reach = std::max(reach, sign * (at(i) - at(k)));
            least = std::min(least, reach);
        }
        return least;
    };
    std::ostringstream expected;
    int previous = -1;
    for (int i = 0; i < size; ++i) {
        if (at(i - 1) > at(i) || at(i + 1) > at(i) || prominence(i, 1) < minProminence) continue;
        if (previous >= 0) {
            const auto least = std::min_element(counts.begin() + previous, counts.begin() + i);
            const int valley = static_cast<int>(least - counts.begin());
            expected << '-' << valley << ':' << *least << ':' << prominence(valley, -1) << ' ';
        }
        expected << '+' << i << ':' << at(i) << ':' << prominence(i, 1) << ' ';
        previous = i;
    }
    ASSERT_EQ(expected.str(), Extrema(counts, static_cast<std::uint32_t>(minProminence)));
}

double VarianceBetween(const Counts& counts, std::size_t threshold) {
    double n[2] = {0, 0}, sum[2] = {0, 0};
    for (std::size_t i = 0; i < counts.size(); ++i) {
        n[i > threshold] += counts[i];
        sum[i > threshold] += static_cast<double>(i) * counts[i];
    }
    if (n[0] == 0 || n[1] == 0) return 0.0;
    const double distance = sum[1] / n[1] - sum[0] / n[0], total = n[0] + n[1];
    return n[0] / total * n[1] / total * distance * distance;
}

DRAWN_TEST(BimodalHistoAnalyzer, MaximisesTheVarianceBetweenTheClasses, 300) {
    Counts counts(2 + draw(100));
    const std::uint32_t top = 1 + draw(1 << 22), sparse = 1 + draw(4);
    Random random(draw(1 << 16));
    for (std::uint32_t& count : counts) count = random() % sparse ? 0 : random() % top;
    counts.front() = counts.back() = 5;
    KrBimodalHistoAnalyzer analyzer;
    ASSERT_TRUE(analyzer.Analyze(HistogramOf(counts)));
    double most = 0.0;
    for (std::size_t t = 0; t < counts.size(); ++t) most = std::max(most, VarianceBetween(counts, t));
    EXPECT_NEAR(most, VarianceBetween(counts, analyzer.GetThreshold()), 1e-9 * most);
    EXPECT_NEAR(most / HistogramOf(counts).GetMeanSquareDeviation(), analyzer.GetSeparability(), 1e-9);
}

TEST(BimodalHistoAnalyzer, ResultsOfSeparatedModes) {
    Counts counts(128);
    counts[10] = counts[14] = 30;
    counts[100] = 20;
    KrBimodalHistoAnalyzer analyzer;
    ASSERT_TRUE(analyzer.Analyze(HistogramOf(counts)));
    EXPECT_EQ(56u, analyzer.GetThreshold());  // the middle of 14..99
    EXPECT_EQ(114.0, analyzer.GetThresholdValue());
    EXPECT_DOUBLE_EQ(12.0, analyzer.GetLowerMean());
    EXPECT_DOUBLE_EQ(100.0, analyzer.GetUpperMean());
    EXPECT_DOUBLE_EQ(0.75, analyzer.GetLowerShare());
    for (const std::size_t steps : {3U, 100U, 1000U}) {  // bins that are no whole number of grey values wide
        Counts few(steps);
        few.front() = few.back() = 1;
        ASSERT_TRUE(analyzer.Analyze(HistogramOf(few)));
        std::uint32_t least = 0;
        while (least * steps / 256 <= analyzer.GetThreshold()) ++least;
        EXPECT_EQ(least, analyzer.GetThresholdValue()) << steps;
    }
    for (const Counts& unimodal : {Counts{0, 0}, Counts{0, 9, 0}, Counts{4000000000u}}) {
        EXPECT_FALSE(analyzer.Analyze(HistogramOf(unimodal)));
        EXPECT_EQ(0u, analyzer.GetThreshold());
        EXPECT_EQ(0.0, analyzer.GetSeparability());
    }
    EXPECT_FALSE(analyzer.Analyze(KrLHistogram()));
}

template <class AOI>
void CheckRange(const Drawing& draw) {
    constexpr DeviceType type = KrTPixel<typename AOI::Pixel>::device;
    const Form form = draw(3) == 0 ? Form::eRowless : Form::eView;
    const KrTPoint<short> some[] = {{1, 1}, {2, 3}, {0, -5}, {7, 1}, {400, 400}};
    const KrTPoint<short> step = Drawn(draw, some);
    const DirectAccess access(draw(3) != 0);
    const bool masked = draw(2) != 0;
    const int cx = static_cast<int>(draw(8) ? draw(70) : draw(300)), cy = static_cast<int>(draw(6));
    GuardedImage image(type, cx, cy, draw(1 << 16), form), mask(eDev8, std::max(cx - 2, 0), 3, 9, form);
    FillRandom(type, image.memory, draw(1 << 16), true);
    for (unsigned char& m : mask.memory) m = m % 2 ? 64 : 63;  // next to the limit
    KrTFloatRange<double> expected{HUGE_VAL, -HUGE_VAL};
    for (const double v : Sampled(image, masked ? &mask : nullptr, step)) {
        if (v < expected.lower) expected.lower = v;
        if (v > expected.upper) expected.upper = v;
    }
    if (expected.lower > expected.upper) expected = {0, 0};
    const auto* typed = static_cast<const AOI*>(image.image.get());
    const auto* typedMask = static_cast<const KrAOI8*>(mask.image.get());
    ForEachTarget([&](std::int64_t) {
        std::vector<KrTFloatRange<double>> ranges = {KrIpRange().Execute(typed, typedMask, step)};
        if (!masked) ranges = {KrIpRange().Execute(typed, step), KrLGreyScaleRange().Scan(typed, step)};
        for (const auto& range : ranges) {
            EXPECT_EQ(expected.lower, range.lower) << type << ' ' << cx << ' ' << step.x << ' ' << masked;
            EXPECT_EQ(expected.upper, range.upper) << type << ' ' << cx << ' ' << step.x << ' ' << masked;
        }
    });
}

// Of a whole image, and of the part of it that a mask admits.
DRAWN_TEST(Range, EqualsAPlainLoop, 3000) {
    void (*const checks[])(const Drawing&) = {CheckRange<KrAOI8>, CheckRange<KrAOI16>, CheckRange<KrAOI32>,
                                              CheckRange<KrAOI32Float>, CheckRange<KrAOI64Double>};
    Drawn(draw, checks)(draw);
}

}  // namespace
