// Histograms: counting against a plain loop, statistics against distributions with known values.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <random>

#include "ipbase/ipLHistogram.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

KrLHistogram shared;

const std::vector<OpCase>& Cases() {
    static const std::vector<OpCase> cases = {
        {L"Create( %s )", 86, "1 4", [](Images i, const double*) { shared.Create(i[0], 16); }},
        {L"Create( %s, pMaskAOI )", 128, "11 41",
         [](Images i, const double*) { shared.Create(i[0], dynamic_cast<const KrAOI8*>(i[1]), 16); }},
    };
    return cases;
}

TEST(Histogram, DispatchAndErrors) {
    KrBufferAOI8 image({3, 1});
    shared.Create(&image, 4);
    CheckDispatch(Cases(), HistogramOperations(), L"C\\ipLHistogram");
    for (const std::uint32_t steps : {0u, KrLHistogram::kMaxSteps + 1, ~0u})
        EXPECT_TRUE(Thrown([&] { shared.Create(&image, &image, steps); }));
    EXPECT_EQ(4u, shared.GetNumSteps());  // an error changes nothing
    EXPECT_EQ(3u, shared[0]);
    EXPECT_TRUE(Thrown([] { shared[4] = 1; }));
}

struct Counting {
    DeviceType type;
    std::uint32_t steps;
    KrTPoint<short> sampling;
};

void CompareWithAPlainLoop(const Counting& counting) {
    const auto [type, steps, sampling] = counting;
    SCOPED_TRACE(testing::Message() << "type " << type << ", steps " << steps << ", sampling " << sampling.x);
    const std::size_t bytes = PixelBytes(type);
    for (int n = 0; n < 60; ++n) {
        const Form form = n % 3 == 0 ? Form::eRowless : Form::eView;
        const DirectAccess access(n % 5 != 0);
        const int cx = n, cy = n % 7 + (n > 30), maskCx = std::max(0, cx - n % 4), maskCy = std::max(1, cy - n % 2);
        const std::size_t stride = (static_cast<std::size_t>(cx) + 5) * bytes, maskStride = 70;
        std::vector<unsigned char> memory((static_cast<std::size_t>(cy) + 1) * stride), maskMemory(20 * maskStride);
        FillRandom(type, memory, static_cast<unsigned>(n), false);
        FillRandom(eDev8, maskMemory, static_cast<unsigned>(n + 1), false);
        for (std::size_t i = 0; i < maskMemory.size(); i += 3) maskMemory[i] = i % 2 ? 63 : 64;
        if (n % 4 == 3) std::fill(memory.begin(), memory.end(), static_cast<unsigned char>(n));
        const auto image = MakeAOI({0, type, 0, stride, cx, cy, form}, memory.data());
        const auto mask = MakeAOI({0, eDev8, 0, maskStride, maskCx, maskCy, form}, maskMemory.data());
        for (const bool masked : {false, true}) {
            std::map<std::uint64_t, std::uint32_t> expected;
            for (int y = 0; y < (masked ? std::min(cy, maskCy) : cy); y += std::max<int>(sampling.y, 1))
                for (int x = 0; x < (masked ? std::min(cx, maskCx) : cx); x += std::max<int>(sampling.x, 1)) {
                    const auto row = static_cast<std::size_t>(y), column = static_cast<std::size_t>(x);
                    if (masked && maskMemory[row * maskStride + column] >= 64) continue;
                    const auto v = static_cast<std::uint64_t>(Load(type, &memory[row * stride + column * bytes]));
                    ++expected[v * steps >> 8 * bytes];
                }
            KrLHistogram histogram;
            histogram.SetUndersampling(sampling);
            masked ? histogram.Create(image.get(), static_cast<const KrAOI8*>(mask.get()), steps)
                   : histogram.Create(image.get(), steps);
            ASSERT_EQ(steps, histogram.GetNumSteps());
            for (std::uint32_t i = 0; i < steps; ++i)
                ASSERT_EQ(expected.count(i) ? expected[i] : 0u, histogram[i]) << "bin " << i << ", trial " << n;
            const double none = type == eDev8 ? 255 : 65535;
            EXPECT_EQ(expected.empty() ? none : static_cast<double>(expected.begin()->first),
                      histogram.GetAOIGreyRange().lower);
            EXPECT_EQ(expected.empty() ? 0.0 : static_cast<double>(expected.rbegin()->first),
                      histogram.GetAOIGreyRange().upper);
        }
    }
}

TEST(Histogram, CountsEqualAPlainLoop) {
    for (const Counting& counting :
         {Counting{eDev8, 256, {1, 1}}, Counting{eDev8, 256, {2, 3}}, Counting{eDev8, 16, {1, 1}},
          Counting{eDev8, 1, {-1, 0}}, Counting{eDev8, 1000, {1, 2}}, Counting{eDev16, 65536, {1, 1}},
          Counting{eDev16, 256, {3, 1}}, Counting{eDev16, 4099, {1, 1}}, Counting{eDev16, 100003, {1, 2}}})
        CompareWithAPlainLoop(counting);
}

// Closed forms: Bernoulli(p) has skewness (1 - 2p) / s and kurtosis 1 / s^2 - 3 with s^2 = p (1 - p); the values 1..n
// have variance (n^2 - 1) / 12 and kurtosis 3 (3 n^2 - 7) / 5 (n^2 - 1); the binomial distribution of n = 16, p = 1/2
// has variance n / 4 and kurtosis 3 - 2 / n.
TEST(Histogram, StatisticsOfKnownDistributions) {
    std::map<std::uint32_t, std::uint32_t> uniform, binomial;
    double logs = 0.0, inverses = 0.0;
    for (std::uint32_t i = 1; i <= 100; ++i) {
        uniform[i] = 7;
        logs += std::log(i);
        inverses += 1.0 / i;
    }
    for (std::uint32_t i = 0, n = 1; i <= 16; n = n * (16 - i) / (i + 1), ++i) binomial[i] = n;
    using Counts = std::map<std::uint32_t, std::uint32_t>;
    const std::uint32_t many = 4000000000;
    const double a = 65534, b = 65535;
    // counts; mean, geometric, harmonic, quadratic mean, variance, median, skewness, kurtosis
    const std::pair<Counts, std::array<double, 8>> distributions[] = {
        {{}, {}},
        {{{37, 5}}, {37, 37, 37, 37, 0, 37, 0, 0}},
        {{{0, 1}}, {}},
        {{{0, 3}, {1, 1}}, {0.25, 0, 0, 0.5, 0.1875, 0, 0.5 / std::sqrt(0.1875), 1 / 0.1875 - 3}},
        {{{2, 1}, {8, 1}}, {5, 4, 3.2, std::sqrt(34), 9, 5, 0, 1}},
        {{{1, 1}, {5, 3}}, {4, std::pow(125, 0.25), 2.5, std::sqrt(19), 3, 5, -2 / std::sqrt(3), 7 / 3.0}},
        {uniform,
         {50.5, std::exp(logs / 100), 100 / inverses, std::sqrt(101 * 201 / 6.0), 9999 / 12.0, 50.5, 0,
          3 * 29993 / (5.0 * 9999)}},
        {binomial, {8, 0, 0, std::sqrt(68), 4, 8, 0, 3 - 2 / 16.0}},
        {{{65534, many}, {65535, many}},
         {65534.5, std::sqrt(a * b), 2 / (1 / a + 1 / b), std::sqrt((a * a + b * b) / 2), 0.25, 65534.5, 0, 1}},
    };
    KrBufferAOI8 none;
    for (const auto& [counts, expected] : distributions) {
        KrLHistogram histogram;
        histogram.Create(&none, 65536);
        for (const auto& [bin, count] : counts) histogram[bin] = count;
        const KrLHistogram& h = histogram;
        EXPECT_EQ(h.GetArithmeticMean(), h.GetMean());
        const double found[] = {
            h.GetArithmeticMean(),      h.GetGeometricMean(), h.GetHarmonicMean(), h.GetQuadraticMean(),
            h.GetMeanSquareDeviation(), h.GetMedian(),        h.GetSkewness(),     h.GetKurtosis()};
        for (std::size_t i = 0; i < expected.size(); ++i)
            EXPECT_NEAR(expected[i], found[i], 1e-9 * std::max(1.0, std::fabs(expected[i])))
                << i << testing::PrintToString(counts);
    }
    EXPECT_EQ(0.0, KrLHistogram().GetMedian());  // no bins at all
    EXPECT_EQ(0.0, KrLHistogram().GetHarmonicMean());
    EXPECT_EQ(0u, KrLHistogram().GetMaxPixels());
}

TEST(Histogram, IndexMapsAndMaximum) {
    KrBufferAOI8 image({4, 1});
    const std::uint8_t pixels[] = {240, 3, 255, 3};
    std::copy(std::begin(pixels), std::end(pixels), image.GetRowPointer(0));
    KrLHistogram histogram;
    histogram.Create(&image, 16);
    EXPECT_EQ(0u, histogram.GetMaxIndex());  // the first of two bins with two pixels
    EXPECT_EQ(2u, histogram.GetMaxPixels());
    for (const auto& [value, bin] : std::map<double, std::uint32_t>{
             {0, 0}, {15.99, 0}, {16, 1}, {255, 15}, {256, 16}, {-0.9, 0}, {-700, 0}, {1e300, 0xFFFFFFFF}})
        EXPECT_EQ(bin, histogram.CalcIndex(value)) << value;
    EXPECT_EQ(0u, histogram.CalcIndex(std::nan("")));
    EXPECT_EQ(0.0, histogram.CalcRange(0).lower);
    EXPECT_EQ(16.0 - 2.220446049250313e-16, histogram.CalcRange(0).upper);
    EXPECT_EQ(240.0, histogram.CalcRange(15).lower);
    KrBufferAOI16 deep({1, 1});
    histogram.Create(&deep, 256);
    EXPECT_EQ(65535u / 256, histogram.CalcIndex(65535));
    EXPECT_EQ(512.0, histogram.CalcRange(2).lower);
    const KrLHistogram copy = histogram;
    histogram.Create(&image, 1);
    EXPECT_EQ(256u, copy.GetNumSteps());
    EXPECT_EQ(1u, copy[0]);
}

}  // namespace
