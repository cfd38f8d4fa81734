// Line filters against plain loops over random images of all pixel types, sizes, layouts and CPU targets.
#include <gtest/gtest.h>

#include "Core/vorTools/Inc/syfilt2d.h"
#include "ipbase/filters/operations.h"
#include "ipbase/ipLFilt1d.h"
#include "tests/support/filter_pictures.h"
#include "tests/support/literal_filters.h"

namespace test {
namespace {

// A filter of a number of taps, as a pair of classes and as a plain loop over a line.
struct TapCase {
    enum { eGauss, eMedian, eMinimum, eMaximum, eKernel, eRecursive } kind;
    std::wstring names[2];
    std::uint32_t lines[2];
    void (*run)(int taps, bool columns, KrAOI* src, KrAOI* dst);
};

template <class Hor, class Ver>
void RunPair(int taps, bool columns, KrAOI* src, KrAOI* dst) {
    columns ? Ver().Execute(static_cast<std::uint32_t>(taps), src, dst)
            : Hor().Execute(static_cast<std::uint32_t>(taps), src, dst);
}

void RunKernel(int taps, bool columns, KrAOI* src, KrAOI* dst) {
    const auto kernel = Buffer(Weights(taps));
    columns ? KrFilterVertical().Execute(kernel, Divisor(taps), src, dst)
            : KrFilterHorizontal().Execute(kernel, Divisor(taps), src, dst);
}
double Alpha(int taps) { return taps == 1 ? 0.0 : 1.0 - 1.0 / taps; }
void RunRecursive(int taps, bool columns, KrAOI* src, KrAOI* dst) {
    columns ? KrFilterVerRecursive().Execute(Alpha(taps), src, dst)
            : KrFilterHorRecursive().Execute(Alpha(taps), src, dst);
}

const TapCase kTapCases[] = {
    {TapCase::eGauss, {L"HorGauss", L"VerGauss"}, {782, 880}, RunPair<KrFilterHorGauss, KrFilterVerGauss>},
    {TapCase::eMedian, {L"HorMedian", L"VerMedian"}, {987, 1085}, RunPair<KrFilterHorMedian, KrFilterVerMedian>},
    {TapCase::eMinimum, {L"HorErosion", L"VerErosion"}, {1189, 1287}, RunPair<KrFilterHorErosion, KrFilterVerErosion>},
    {TapCase::eMaximum,
     {L"HorDilatation", L"VerDilatation"},
     {1392, 1490},
     RunPair<KrFilterHorDilatation, KrFilterVerDilatation>},
    {TapCase::eKernel, {L"Horizontal", L"Vertical"}, {582, 685}, RunKernel},
    {TapCase::eRecursive, {L"HorRecursive", L"VerRecursive"}, {1593, 1691}, RunRecursive},
};

template <class T>
void Literal(const TapCase& c, int taps, Line<T>& line) {
    switch (c.kind) {
        case TapCase::eGauss: return LiteralWeighted(line, PascalRow(taps), std::ldexp(1.0, 1 - taps), -(taps / 2));
        case TapCase::eMedian: return LiteralRank(line, taps, (taps + 1) / 2);
        case TapCase::eMinimum: return LiteralRank(line, taps, 1);
        case TapCase::eMaximum: return LiteralRank(line, taps, taps);
        case TapCase::eKernel: return LiteralWeighted(line, Weights(taps), 1.0 / Divisor(taps), -(taps / 2));
        case TapCase::eRecursive: return LiteralRecursive(line, Alpha(taps));
    }
}

void CheckLineFilter(const TapCase& c, bool columns, int taps, const KrTSize<int>& size, Random& random) {
    SCOPED_TRACE(KrString(c.names[columns]).ToUtf8() + " " + std::to_string(taps) + " taps, " +
                 std::to_string(size.cx) + " x " + std::to_string(size.cy));
    ForEachType([&](auto type) {
        using T = decltype(type);
        const auto source = RandomPicture<T>(size.cx, size.cy, random);
        const auto expected = AlongLines(source, columns, [&](Line<T>& line) { Literal(c, taps, line); });
        ForEachTarget([&](std::int64_t) {
            CheckLayouts(source, expected, [&](KrAOI* src, KrAOI* dst) { c.run(taps, columns, src, dst); });
        });
    });
}

DRAWN_TEST(LineFilters, EqualPlainLoops, 800) {
    const TapCase& c = Drawn(draw, kTapCases);
    const bool columns = draw(2) != 0;
    const int taps = 1 + static_cast<int>(draw(c.kind == TapCase::eGauss ? 34 : draw(4) ? 20 : 61));
    const int along = 1 + static_cast<int>(draw(8) ? draw(40) : draw(300)), across = 1 + static_cast<int>(draw(6));
    Random random(draw(1 << 16));
    CheckLineFilter(c, columns, taps, columns ? KrTSize<int>{across, along} : KrTSize<int>{along, across}, random);
}

TEST(LineFilters, RejectOtherTypesAndTolerateEverythingElse) {
    std::size_t listed = 0;
    for (const OperationInfo& info : LineFilterOperations()) listed += info.types.size();
    EXPECT_EQ(12u * 4u, listed);
    for (const TapCase& c : kTapCases)
        for (const bool columns : {false, true}) {
            CheckFilterTypes(L"KrFilter" + c.names[columns], L"C\\ipLFilt1d", c.lines[columns],
                             [&](KrAOI* src, KrAOI* dst) { c.run(3, columns, src, dst); });
            // No taps, windows of any size and empty images leave everything around them alone.
            for (const int taps : {0, 35, 70000, -1})
                if (taps == 0 || (c.kind != TapCase::eKernel && c.kind != TapCase::eRecursive))
                    CheckGuards([&](KrAOI* image) { c.run(taps, columns, image, nullptr); });
            KrAOI8 empty;
            CheckGuards([&](KrAOI* image) { c.run(3, columns, image, &empty); });
            c.run(3, columns, &empty, nullptr);
        }
}

TEST(LineFilters, PartlyOverlappingViewsReadTheSourceFirst) {
    for (const bool columns : {false, true}) {
        GuardedImage src(eDev8, 16, 16, 9), same(eDev8, 16, 16, 9), out(eDev8, 16, 16, 9);
        RunPair<KrFilterHorMedian, KrFilterVerMedian>(3, columns, same.image.get(), out.image.get());
        const auto over = src.View(1, 2);
        RunPair<KrFilterHorMedian, KrFilterVerMedian>(3, columns, src.image.get(), over.get());
        for (int y = 0; y < 14; ++y)
            for (int x = 0; x < 15; ++x) ASSERT_EQ(out.Get(x, y), src.Get(x + 1, y + 2)) << x << ", " << y;
    }
}

// --- The 8-bit special filters

class OneLine : public KrFilterFIR1D, public KrFilterBinominal1D {
public:
    using KrFilterBinominal1D::Filter;
    using KrFilterFIR1D::FilterLine8;
};

// Symmetric kernels of five taps and more fold where all of their window is inside: from weights of 2^31 / 510 on, the
// product of a weight and the sum of two samples wraps otherwise than two products.
void LiteralFir(Line<std::uint8_t>& line, const std::vector<std::int32_t>& weights, double scale) {
    const Line<std::uint8_t> in = line;
    const int taps = static_cast<int>(weights.size()), count = static_cast<int>(in.size());
    const bool folds = taps >= 5 && std::equal(weights.begin(), weights.end(), weights.rbegin());
    for (int i = 0; i < count; ++i) {
        const int first = i - (taps - 1) / 2;
        double sum = 0;
        for (int k = 0; k < taps; ++k) {
            const int last = taps - 1 - k;
            const bool inPairs = folds && first >= 0 && first + taps <= count && k != last;
            const int pair = inPairs ? SampleAt(in, first + last) : 0;
            if (inPairs && k > last) break;
            sum += Product(SampleAt(in, first + k) + pair, weights[static_cast<std::size_t>(k)]);
        }
        line[static_cast<std::size_t>(i)] = Rounded<std::uint8_t>(sum * scale);
    }
}

DRAWN_TEST(SpecialFilters, EqualPlainLoops, 600) {
    using Bytes = Line<std::uint8_t>;
    const int taps = 1 + static_cast<int>(draw(23)), count = static_cast<int>(draw(8) ? draw(40) : draw(300));
    const bool columns = draw(2) != 0, isLarge = draw(2) != 0;
    const EDir dir = columns ? eVert : eHor;
    Random random(draw(1 << 16));
    const auto source = RandomPicture<std::uint8_t>(columns ? 3 : 1 + count, columns ? 1 + count : 3, random);
    std::vector<std::int32_t> weights = Weights(taps);
    for (std::int32_t& weight : weights)
        if (isLarge && random() % 3 == 0)
            weight = random() % 2 ? 4210752 + static_cast<int>(random() % 2) : -2000000000;
    if (draw(4)) std::reverse_copy(weights.begin(), weights.begin() + taps / 2, weights.end() - taps / 2);
    const double divisor = isLarge ? 12345677.0 : taps / 3.0;  // what 2^32 leaves is seen in 8 bits
    const auto weighted = [&](Bytes& line) { LiteralFir(line, weights, 1.0 / divisor); };
    KrFilterFIR1D fir;
    fir.SetKernel(Buffer(weights), divisor);
    ForEachTarget([&](std::int64_t) {
        CheckLayouts(source, AlongLines(source, columns, weighted),
                     [&](KrAOI* src, KrAOI* dst) { fir.Execute(src, dst, dir); });
        if (taps < 2) return;
        CheckLayouts(source, AlongLines(source, columns, [&](Bytes& line) { LiteralBinomial(line, taps); }),
                     [&](KrAOI* src, KrAOI* dst) {
                         KrFilterBinominal1D().Execute(src, dst, static_cast<unsigned short>(taps), dir);
                     });
    });
}

// Where sums and what rounds them are at the limits of 8, 16 and 32 bits.
TEST(LineFilters, SumsAtTheLimits) {
    const struct {
        KrTBuf1D<std::int32_t> kernel;
        std::int32_t divisor;
    } cases[] = {{{10000, 12766, 10000}, 1 << 17},
                 {{10000, 12766, 10000}, 1 << 18},
                 {{10000, 12766, 10000}, 1 << 19},
                 {{10000, 12766, 10000}, 1 << 30},
                 {{-10000, -22766}, 1 << 20},
                 {{1, 2, 253}, 256},
                 {{128, 129}, 1},
                 {{16384, 16383}, 32767},
                 {{40000}, 40000},
                 {{-16383, 16384}, 1},
                 {{1, 2, 3}, 8},
                 {{1, 2, 253}, 512},
                 {{1, 2, 253}, 258},
                 {{32768}, 32768}};
    const auto check = [](auto image, const auto& c, int value) {
        using T = typename decltype(image)::Pixel;
        std::int64_t sum = 0;
        for (std::size_t k = 0; k < c.kernel.Size(); ++k)
            sum +=
                static_cast<std::int32_t>(static_cast<std::uint32_t>(c.kernel[k]) * static_cast<std::uint32_t>(value));
        for (short x = 0; x < image.AOIWidth(); ++x) image.WritePixel({x, 0}, static_cast<T>(value));
        KrFilterHorizontal().Execute(c.kernel, c.divisor, &image, nullptr);
        const auto wanted = static_cast<T>(std::llround(static_cast<double>(sum) * (1.0 / c.divisor)));
        for (short x = 0; x < image.AOIWidth(); ++x)
            ASSERT_EQ(wanted, image.ReadPixel({x, 0})) << "divisor " << c.divisor << ", column " << x;
    };
    for (const auto& c : cases) {
        check(KrBufferAOI8({150, 1}), c, 255);
        check(KrBufferAOI16({150, 1}), c, 65535);
    }
}

TEST(SpecialFilters, LinesAndProperties) {
    OneLine filter;
    EXPECT_FALSE(filter.IsKernelSet());
    EXPECT_EQ(0.0, filter.GetDivisor());
    filter.SetKernel({1, 2, 1}, 4.0);
    EXPECT_TRUE(filter.IsKernelSet());
    EXPECT_EQ(4.0, filter.GetDivisor());
    EXPECT_EQ(3u, filter.GetKernelWidth());
    const unsigned char in[] = {0, 9, 0, 9, 255, 9};
    unsigned char out[] = {7, 7, 7};
    filter.FilterLine8(in, out, 2, 1, 3);
    EXPECT_EQ((std::vector<unsigned char>{0, 64, 191}), std::vector<unsigned char>(out, out + 3));
    std::uint32_t buffer[] = {10, 20, 30, 60, 99};
    filter.Filter(buffer, 2, 2);  // (1 2 1) / 4
    EXPECT_EQ(20u, buffer[0]);
    EXPECT_EQ(35u, buffer[1]);
    EXPECT_EQ(99u, buffer[4]);
}

TEST(SpecialFilters, Rejections) {
    KrBufferAOI8 a({3, 3});
    KrBufferAOI16 b({3, 3});
    a.SetAOIName(L"a");
    b.SetAOIName(L"b");
    struct {
        std::function<void()> run;
        int line;
        const char* text;
    } const cases[] = {
        {[&] { KrFilterFIR1D().Execute(&a, &b, eHor); }, 87, "KrFilterFIR1D::Execute( a, b, eHor )"},
        {[&] { KrFilterFIR1D().Execute(&b, nullptr, eVert); }, 87, "KrFilterFIR1D::Execute( b, b, eVert )"},
        {[&] { KrFilterBinominal1D().Execute(&a, &a, 1, eVert); }, 312, "KrFilterFIR1D::Execute( a, a, 1, eVert )"},
        {[&] { KrFilterBinominal1D().Execute(&a, &a, 24, eHor); }, 312, "KrFilterFIR1D::Execute( a, a, 24, eHor )"},
        {[&] { KrFilterBinominal1D().Execute(&b, &a, 3, eHor); }, 312, "KrFilterFIR1D::Execute( b, a, 3, eHor )"},
    };
    for (const auto& c : cases) {
        const auto error = Thrown(c.run);
        ASSERT_TRUE(error) << c.text;
        EXPECT_EQ(c.line, error->GetLine());
        EXPECT_EQ(c.text, error->GetText().ToUtf8());
    }
}

// --- Templates

template <class T, class Filter>
Line<T> Filtered(Filter filter, const Line<T>& line, const Line<std::uint8_t>* mask) {
    KrTBuf1D<T> buffer(line.size());
    std::copy(line.begin(), line.end(), buffer.Data());
    KrTBuf1D<std::uint8_t> bytes(mask ? mask->size() : 0);
    if (mask) std::copy(mask->begin(), mask->end(), bytes.Data());
    static_cast<KrTFilter1D<T>&>(filter).FilterMasked(buffer, bytes, mask != nullptr);
    return Line<T>(buffer.Data(), buffer.Data() + buffer.Size());
}

// Sums of weights at the limits of what masked sums take.
const std::vector<std::int32_t> kMaskedKernels[] = {{8, 9},          {128, 129}, {40000},
                                                    {-16000, 16001}, {31, 32},   {(1 << 29) + 1, -(1 << 29)}};

template <class T>
void CheckTemplates(Random& random) {
    for (const int taps : {1, 2, 3, 4, 7, 16, 25})
        for (const int count : {1, 2, 3, 10, 60}) {
            SCOPED_TRACE(std::to_string(taps) + " taps on " + std::to_string(count));
            const auto k = static_cast<std::uint32_t>(taps);
            const Line<T> line = RandomPicture<T>(count, 1, random).pixels;
            const std::vector<std::int32_t> weights = Weights(taps), ones(k, 1);
            Line<std::uint8_t> mask;
            for (int i = 0; i < count; ++i)
                mask.push_back(static_cast<std::uint8_t>(random() % 3 ? random() % 64 : 64));

            const auto check = [&](auto filter, const Line<std::uint8_t>* under, const auto& filterPlainly) {
                Line<T> expected = line;
                filterPlainly(expected);
                EXPECT_EQ(expected, Filtered(filter, line, under));
            };
            const auto masked = [&](const auto& by) { return [&, by](Line<T>& l) { LiteralMasked(l, by, mask); }; };
            const auto rank = [&](int r) { return [=](Line<T>& l) { LiteralRank(l, taps, r); }; };
            const auto weighted = [&](const auto& by, double scale) {
                return [&by, scale, taps](Line<T>& l) { LiteralWeighted(l, by, scale, -(taps / 2)); };
            };
            check(KrTFilter1D<T>(Buffer(weights), Divisor(taps)), nullptr, weighted(weights, 1.0 / Divisor(taps)));
            check(KrTFilter1D<T>(Buffer(weights), 5), &mask, masked(weights));
            for (const auto& limits : kMaskedKernels) check(KrTFilter1D<T>(Buffer(limits), 5), &mask, masked(limits));
            check(KrTFilter1DMedian<T>(k), nullptr, rank((taps + 1) / 2));
            check(KrTFilter1DMedian<T>(k), &mask, masked(ones));
            if constexpr (!std::is_same_v<T, std::uint32_t>) {
                check(KrTFilter1DGauss<T>(k), &mask, masked(PascalRow(taps)));
                check(KrTFilter1DMean<T>(k), nullptr, weighted(ones, 1.0 / taps));
                check(KrTFilter1DErosion<T>(k), nullptr, rank(1));
                check(KrTFilter1DDilatation<T>(k), nullptr, rank(taps));
            }
        }
}

TEST(LineTemplates, EqualPlainLoops) {
    Random random(5);
    ForEachType([&](auto type) { CheckTemplates<decltype(type)>(random); });
    CheckTemplates<std::uint32_t>(random);
}

TEST(LineTemplates, PrepareLineRepeatsTheEnds) {
    struct Open : KrTFilter1DMean<float> {
        using KrTFilter1DMean::KrTFilter1DMean;
        using KrTFilter1DMean::mLine;
    } filter(4);
    EXPECT_EQ(2u, filter.PrepareLine({1.0f, 2.0f, 5.0f}));
    const float expected[] = {1, 1, 1, 2, 5, 5, 5};
    for (std::size_t i = 0; i < std::size(expected); ++i) EXPECT_EQ(expected[i], filter.mLine[i]);
}

}  // namespace
}  // namespace test
