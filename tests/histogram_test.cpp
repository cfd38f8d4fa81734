// Histograms: counting against a plain loop, statistics against distributions with known values.
#include <gtest/gtest.h>

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

void PrintTo(const Counting& c, std::ostream* out) {
    *out << "type " << c.type << ", " << c.steps << " steps, sampling " << c.sampling.x << ", " << c.sampling.y;
}

class HistogramCounts : public ::testing::TestWithParam<Counting> {};

TEST_P(HistogramCounts, EqualAPlainLoop) {
    const auto [type, steps, sampling] = GetParam();
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

INSTANTIATE_TEST_SUITE_P(, HistogramCounts,
                         ::testing::Values(Counting{eDev8, 256, {1, 1}}, Counting{eDev8, 256, {2, 3}},
                                           Counting{eDev8, 16, {1, 1}}, Counting{eDev8, 1, {-1, 0}},
                                           Counting{eDev8, 1000, {1, 2}}, Counting{eDev16, 65536, {1, 1}},
                                           Counting{eDev16, 256, {3, 1}}, Counting{eDev16, 4099, {1, 1}},
                                           Counting{eDev16, 100003, {1, 2}}));

struct Distribution {
    const char* name;
    std::map<std::uint32_t, std::uint32_t> counts;
    double mean, geometric, harmonic, quadratic, variance, median, skewness, kurtosis;
};

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
    const Distribution distributions[] = {
        {"empty", {}, 0, 0, 0, 0, 0, 0, 0, 0},
        {"one bin", {{37, 5}}, 37, 37, 37, 37, 0, 37, 0, 0},
        {"one zero", {{0, 1}}, 0, 0, 0, 0, 0, 0, 0, 0},
        {"Bernoulli, p = 1/4", {{0, 3}, {1, 1}}, 0.25, 0, 0, 0.5, 0.1875, 0, 0.5 / std::sqrt(0.1875), 1 / 0.1875 - 3},
        {"two values", {{2, 1}, {8, 1}}, 5, 4, 3.2, std::sqrt(34), 9, 5, 0, 1},
        {"long left tail",
         {{1, 1}, {5, 3}},
         4,
         std::pow(125, 0.25),
         2.5,
         std::sqrt(19),
         3,
         5,
         -2 / std::sqrt(3),
         7 / 3.0},
        {"1..100", uniform, 50.5, std::exp(logs / 100), 100 / inverses, std::sqrt(101 * 201 / 6.0), 9999 / 12.0, 50.5,
         0, 3 * 29993 / (5.0 * 9999)},
        {"binomial", binomial, 8, 0, 0, std::sqrt(68), 4, 8, 0, 3 - 2 / 16.0},
        {"many",
         {{65534, 4000000000u}, {65535, 4000000000u}},
         65534.5,
         std::sqrt(65534.0 * 65535),
         2 / (1 / 65534.0 + 1 / 65535.0),
         std::sqrt((65534.0 * 65534 + 65535.0 * 65535) / 2),
         0.25,
         65534.5,
         0,
         1},
    };
    KrBufferAOI8 none;
    for (const Distribution& d : distributions) {
        SCOPED_TRACE(d.name);
        KrLHistogram histogram;
        histogram.Create(&none, 65536);
        for (const auto& [bin, count] : d.counts) histogram[bin] = count;
        const KrLHistogram& h = histogram;
        const auto near = [](double expected, double actual) {
            EXPECT_NEAR(expected, actual, 1e-9 * std::max(1.0, std::fabs(expected)));
        };
        near(d.mean, h.GetArithmeticMean());
        near(d.mean, h.GetMean());
        near(d.geometric, h.GetGeometricMean());
        near(d.harmonic, h.GetHarmonicMean());
        near(d.quadratic, h.GetQuadraticMean());
        near(d.variance, h.GetMeanSquareDeviation());
        near(d.median, h.GetMedian());
        near(d.skewness, h.GetSkewness());
        near(d.kurtosis, h.GetKurtosis());
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
