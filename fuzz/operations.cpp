// All operations on images: those that tests hold against formulas, and those below, which are held against themselves
// on other CPU targets; what they compute is tried elsewhere.
#include <gtest/gtest.h>
#include <ipbase/voripbase.h>

#include <array>

#include "tests/support/harness.h"

namespace {

using namespace test;

KrTSize<std::uint32_t> Size(C c) { return {static_cast<std::uint32_t>(c[0]), static_cast<std::uint32_t>(c[1])}; }

template <class Filter>
void Sized(I i, C c) {
    Filter().Execute(Size(c), i[0], i[1], nullptr, eIgnoreMask);
}
template <class Filter>
void Masked(I i, C c) {
    Filter().Execute(Size(c), i[0], i[2], static_cast<const KrAOI8*>(i[1]), c[2] > 0 ? eKeepMasked : eConsiderMask);
}
template <class Gradient, class Source, class Target, class... Border>
void Gradients(I i, C c) {
    Gradient gradient;
    gradient.Init({400, 40});
    gradient.Execute(static_cast<const Source*>(i[0]), static_cast<int>(c[0]), static_cast<int>(c[1]),
                     static_cast<Target*>(i[1]), Border{}...);
}
void Weighted(I i, C c) {
    KrTBuf2D<std::int32_t> kernel(static_cast<std::size_t>(c[0]), static_cast<std::size_t>(c[1]));
    for (std::size_t k = 0; k < kernel.Width() * kernel.Height(); ++k)
        kernel.Row(0)[k] = static_cast<std::int32_t>(c[2] * static_cast<double>(k % 5) - c[3]);
    KrFilter().Execute(kernel, 7, i[0], i[1], nullptr, eIgnoreMask);
}

// Where NaN is among float samples, ranks are anything, and not the same on other CPU targets.
constexpr char kRanked[] = "11 44 77", kRankedMasked[] = "111 414 717";
constexpr char kAll[] = "11 44 77 88 aa", kAllMasked[] = "111 414 717 818 a1a";
const std::vector<std::vector<double>> kWindows = {{3, 3, 0}, {1, 1, 1},  {5, 1, 0},  {1, 9, 1},
                                                   {2, 4, 0}, {33, 7, 1}, {200, 3, 0}};
const std::vector<std::vector<double>> kLines = {{1, 0}, {0, 1}, {-1, 2}, {5, -3}, {-40, -2}, {300, 0}, {0, -11}};

OpCase NoFormula(const char* types, const std::vector<std::vector<double>>& constants, void (*run)(I, C)) {
    return {nullptr, 0, types, run, nullptr, constants};
}

const std::vector<OpCase> kOthers = {
    NoFormula(kAll, kWindows, Sized<KrFilterGauss>),
    NoFormula(kAll, kWindows, Sized<KrFilterMeanSepXY>),
    NoFormula(kRanked, kWindows, Sized<KrFilterMedian>),
    NoFormula(kRanked, kWindows, Sized<KrFilterErosion>),
    NoFormula(kRanked, kWindows, Sized<KrFilterDilatation>),
    NoFormula(kAll, kWindows, Sized<KrFilterFastBinaryErosion>),
    NoFormula(kAllMasked, kWindows, Masked<KrFilterGauss>),
    NoFormula(kAllMasked, kWindows, Masked<KrFilterMeanSepXY>),
    NoFormula(kRankedMasked, kWindows, Masked<KrFilterMedian>),
    NoFormula(kRankedMasked, kWindows, Masked<KrFilterErosion>),
    NoFormula(kAll, {{3, 3, 1, 0}, {1, 1, 1, 9}, {4, 2, -7, 1}, {9, 9, 4e6, 1}, {5, 1, 4e8, -4e8}}, Weighted),
    NoFormula(kAll, {{0.5}, {0}, {1}, {0.99}}, [](I i, C c) { KrFilterRecursive().Execute(c[0], i[0], i[1]); }),
    NoFormula("11", {{3, 3}, {2, 23}, {9, 4}}, [](I i, C c) { KrFilterBinominal().Execute(Size(c), i[0], i[1]); }),
    NoFormula("11", kLines, Gradients<KrGradient, KrAOI8, KrAOI8>),
    NoFormula("aa", kLines, Gradients<KrGradientDouble, KrAOI64Double, KrAOI64Double, int>),
    NoFormula("88", kLines, Gradients<KrGradientFloatNonModulo, KrAOI32Float, KrAOI32Float, int>),
};

const KrAOI8* Bytes(const KrAOI* image) { return static_cast<const KrAOI8*>(image); }

KrSampling Sampling(C c, const KrAOI* mask = nullptr) {
    KrSampling how(static_cast<InterpolationMode>(static_cast<int>(c[0])),
                   static_cast<BorderRule>(static_cast<int>(c[1])), c[2]);
    how.mask = Bytes(mask);
    how.period = 7.5;
    return how;
}
// A matrix and shifts from one number.
std::array<double, 6> Matrix(double v) { return {1 + v / 9, v / 5, v, -v / 7, 1 - v / 9, -2 * v}; }

void Unwrap(I i, C c) {
    KrBufferAOI8 mask(i[3]->AOISize());
    KrLUnWrap().Execute(Bytes(i[0]), Bytes(i[1]), Bytes(i[2]), static_cast<KrAOI16*>(i[3]), &mask,
                        static_cast<unsigned char>(c[0]), 3, static_cast<unsigned char>(c[1]), 1);
}
void UnwrapByReliability(I i, C) {
    KrLUnWrap_Velmor unwrap;
    unwrap.Execute(Bytes(i[0]), Bytes(i[1]), 3, nullptr);
    KrBufferAOI8 mask(i[0]->AOISize());
    KrBufferAOI32Float radians(i[0]->AOISize());
    unwrap.GetRadians(&radians, &mask);
    KrLTransfer().Copy(&radians, i[2]);
}
void Trace(I i, C c) {
    auto* const work = static_cast<KrAOI16*>(i[1]);
    KrSegment segment;
    segment.SetThreshold(static_cast<unsigned char>(c[0]));
    segment.Init(Bytes(i[0]), work);
    segment.FindSegmentBorder({static_cast<short>(c[1]), static_cast<short>(c[2])});
    segment.ExtractSegmentAttributes();
    segment.Label(300);
}
void Count(I i, C) {
    KrLHistogram histogram;
    histogram.Create(i[0], 256);
    KrBimodalHistoAnalyzer analyzer;
    analyzer.Analyze(histogram);
    KrFringeQualityCheck().CheckContrast(Bytes(i[0]), Bytes(i[1]));
    KrLTransfer().Clear(i[1], histogram.GetMean() + analyzer.GetThreshold());
}
void BuildRegion(I i, C c) {
    KrBuildRegion region;
    region.SetMask(Bytes(i[0]));
    region.Execute(Bytes(i[0]), {static_cast<short>(c[0]), static_cast<short>(c[1])}, static_cast<KrAOI8*>(i[1]));
}
void Reduce(I i, C c) {
    KrOctreeQuantizer quantizer;
    quantizer.Build(i[0], i[1], i[2], Bytes(i[2]), static_cast<int>(c[0]));
    quantizer.Refine(2);
    quantizer.Map(i[0], i[1], i[2], i[3], c[1] > 0 ? KrOctreeQuantizer::eLeaf : KrOctreeQuantizer::eNearest);
}
void Fit(I i, C c) {
    const int cubic = c[0] > 0;
    KrLBestFit().Approximation(i[0], i[2], Bytes(i[1]), Bytes(i[1]),
                               static_cast<MaskConsideration>(static_cast<int>(c[1])), cubic, cubic, 1, cubic, cubic, 1,
                               cubic, cubic, 1, 1);
}
KrLPixelToWorld Rig() {
    KrLPixelToWorld world;
    world.SetCamera({48, 48.1, 18.4, 10.9, -0.09, 0.06});
    world.SetProjector({2200, 2197, 963, 546, -0.045}, {1, 0, 0, 0, 1, 0, 0, 0, 1}, {-154.2, -3.75, 72});
    world.SetPhaseScale(18);
    return world;
}
void Depth(I i, C) {
    KrBufferAOI32Float x(i[0]->AOISize()), y(i[0]->AOISize());
    Rig().Execute(i[0], Bytes(i[1]), &x, &y, i[2]);
}

const std::vector<std::vector<double>> kSamplings = {{0, 0, 7, 0.5}, {1, 1, 0, 0.25},  {2, 2, 9, -1.3}, {1, 3, 0, 40},
                                                     {2, 0, 3, 2},   {0, 2, 0, -0.75}, {1, 0, 200, 3.5}};

// What needs more than one call, with results of one image.
const std::vector<OpCase> kFamilies = {
    NoFormula(kAll, kSamplings, [](I i, C c) { KrLGeomet().Scale(i[0], i[1], Sampling(c)); }),
    NoFormula(kAllMasked, kSamplings, [](I i, C c) { KrLGeomet().Scale(i[0], i[2], Sampling(c, i[1])); }),
    NoFormula("111 414 818 a1a", kSamplings,
              [](I i, C c) { KrLGeomet().ShiftSubPixel(i[0], i[2], c[3], -c[3], Sampling(c, i[1])); }),
    NoFormula("111 414 818 a1a", kSamplings,
              [](I i, C c) { KrLGeomet().Affine(i[0], i[2], Matrix(c[3]), Sampling(c, i[1])); }),
    NoFormula("111 414 818 a1a", kSamplings,
              [](I i, C c) { KrLGeomet().AffineModulo(i[0], i[2], Matrix(c[3]), Sampling(c, i[1])); }),
    NoFormula("11 44 88 aa", kSamplings,
              [](I i, C c) { KrLGeomet().RotateModulo(i[0], i[1], 30 * c[3], Sampling(c)); }),
    NoFormula("11 44 88 aa", kSamplings,
              [](I i, C c) { KrLRotateByShear().Rotate(i[0], i[1], 30 * c[3], Sampling(c).mode, c[2]); }),
    NoFormula(kAllMasked, {{0}, {3}, {-50}},
              [](I i, C c) { KrLCombination().Insert(i[0], i[2], static_cast<int>(c[0]), -2, Bytes(i[1])); }),
    NoFormula("111 411 711 811 a11", {{0, 0, 200}, {1, -5, 60000}, {2, 1, 1e6}, {3, 0, 255}, {4, 0, 9}, {0, 5, 5}},
              [](I i, C c) {
                  KrColourIndex(static_cast<KrColourIndex::Law>(static_cast<int>(c[0])), c[1], c[2], 200, 3)
                      .Execute(i[0], i[2], Bytes(i[1]));
              }),
    NoFormula("1111", {{2, 0}, {16, 1}, {256, 1}, {60, 0}}, Reduce),
    NoFormula("11 44", {{}}, [](I i, C) { KrLShadeCorrection().GetBackgroundShade(i[0], i[1]); }),
    NoFormula("11 44", {{}}, [](I i, C) { KrLShadeCorrection().ShadeCorrection(i[1], i[0]); }),
    NoFormula("118 418 818", {{0, 0}, {1, 1}, {1, 2}}, Fit),
    NoFormula("818 a18", {{}}, Depth),
    NoFormula("818 a18", {{}}, [](I i, C) { Rig().PredictRow(i[0], Bytes(i[1]), i[2]); }),
    NoFormula("888 a88", {{}}, [](I i, C) { Rig().PredictNoise(i[0], i[1], nullptr, i[2]); }),
    NoFormula("11", {{}}, Count),
    NoFormula("11", {{0, 0}, {3, 2}, {-1, 5}}, BuildRegion),
    NoFormula("14", {{0, 1, 1}, {128, 4, 2}, {250, 9, 1}}, Trace),
    NoFormula("17", {{}}, [](I i, C) { KrSegmentScan().Execute(Bytes(i[0]), static_cast<KrAOI32*>(i[1])); }),
    NoFormula("1114", {{0, 1}, {60, 4}, {128, 8}}, Unwrap),
    NoFormula("118", {{}}, UnwrapByReliability),
};

const Listed kListed(kOthers, kFamilies);

DRAWN_TEST(Operations, OnDrawnOperandsEqualFormulasOrThemselves, 2000) {
    const OpCase& op = Drawn(draw, Listed::All());
    SCOPED_TRACE(&op - Listed::All().data());
    const bool hasTwoDestinations = op.format && op.format == std::wstring(L"Exchange( %s, %s )");
    if (!hasTwoDestinations) TryDrawn(op, draw);
}

}  // namespace
