// Histograms: counting against a plain loop, statistics against distributions with known values.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <map>
#include <tuple>

#include "ipbase/ipLHistogram.h"
#include "ipbase/statistics/operations.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

KrLHistogram shared;

TEST(Histogram, DispatchAndErrors) {
    KrBufferAOI8 image({3, 1});
    shared.Create(&image, 4);
    const auto create = [](I i, C) { shared.Create(i[0], 16); };
    const auto createMasked = [](I i, C) { shared.Create(i[0], dynamic_cast<const KrAOI8*>(i[1]), 16); };
    CheckDispatch({{L"Create( %s )", 86, "1 4", create}, {L"Create( %s, pMaskAOI )", 128, "11 41", createMasked}},
                  HistogramOperations(), L"C\\ipLHistogram");
    for (const std::uint32_t steps : {0u, KrLHistogram::kMaxSteps + 1, ~0u})
        EXPECT_TRUE(Thrown([&] { shared.Create(&image, &image, steps); }));
    EXPECT_EQ(4u, shared.GetNumSteps());  // an error changes nothing
    EXPECT_EQ(3u, shared[0]);
    EXPECT_TRUE(Thrown([] { shared[4] = 1; }));
    EXPECT_EQ(0.0, KrLHistogram().CalcRange(7).lower);  // without bins they have no width
    EXPECT_GE(0.0, KrLHistogram().CalcRange(7).upper);
}

DRAWN_TEST(Histogram, CountsEqualAPlainLoop, 600) {
    const DeviceType type = draw(2) ? eDev8 : eDev16;
    const std::uint32_t few[] = {256, 16, 1, 1000, 2 + draw(300)}, many[] = {65536, 256, 4099, 100003, 1 + draw(70000)};
    const std::uint32_t steps = type == eDev8 ? Drawn(draw, few) : draw(8) ? many[1] : Drawn(draw, many);
    const KrTPoint<short> sampling{static_cast<short>(static_cast<int>(draw(6)) - 1),
                                   static_cast<short>(static_cast<int>(draw(5)) - 1)};
    const Form form = draw(3) == 0 ? Form::eRowless : Form::eView;
    const DirectAccess access(draw(4) != 0);
    const int cx = static_cast<int>(draw(60)), cy = static_cast<int>(draw(9));
    const int narrower = static_cast<int>(draw(4)), lower = static_cast<int>(draw(2));
    GuardedImage image(type, cx, cy, draw(1 << 16), form);
    GuardedImage mask(eDev8, std::max(0, cx - narrower), std::max(1, cy - lower), 1, form);
    Random random(draw(1 << 16));
    mask.Fill([&](int, int) { return random() % 3 ? random() % 256 : 63 + random() % 2; });
    if (const std::uint32_t even = draw(8); even < 3) image.Fill([&](int, int) { return even * 100; });
    for (const bool masked : {false, true}) {
        std::map<double, std::uint32_t> expected;
        for (const double v : Sampled(image, masked ? &mask : nullptr, sampling))
            ++expected[std::floor(v * steps / (type == eDev8 ? 256 : 65536))];
        KrLHistogram histogram;
        histogram.SetUndersampling(sampling);
        masked ? histogram.Create(image.image.get(), static_cast<const KrAOI8*>(mask.image.get()), steps)
               : histogram.Create(image.image.get(), steps);
        ASSERT_EQ(steps, histogram.GetNumSteps());
        std::map<double, std::uint32_t> found;
        for (std::uint32_t i = 0; i < steps; ++i)
            if (histogram.GetBuffer()[i] > 0) found[i] = histogram.GetBuffer()[i];
        ASSERT_EQ(expected, found) << "type " << type << ", steps " << steps << ", sampling " << sampling.x;
        const double none = type == eDev8 ? 255 : 65535;
        EXPECT_EQ(expected.empty() ? none : expected.begin()->first, histogram.GetAOIGreyRange().lower);
        EXPECT_EQ(expected.empty() ? 0.0 : expected.rbegin()->first, histogram.GetAOIGreyRange().upper);
    }
}

// Two values with the probabilities p and 1 - p have the skewness (1 - 2p) / s and the kurtosis 1 / s^2 - 3, where
// s^2 = p (1 - p).
TEST(Histogram, StatisticsOfKnownDistributions) {
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
        {{{1, 1}, {2, 2}, {4, 1}},
         {2.25, 2, 4 / 2.25, 2.5, 1.1875, 2, 0.84375 / std::pow(1.1875, 1.5), 2.95703125 / (1.1875 * 1.1875)}},
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
}

}  // namespace
