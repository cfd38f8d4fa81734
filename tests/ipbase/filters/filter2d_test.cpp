// Image filters, masked and not, against plain loops over random images of all pixel types, sizes and layouts.
#include <gtest/gtest.h>

#include "Core/vorTools/Inc/syfilt2d.h"
#include "ipbase/filters/operations.h"
#include "ipbase/ipLFilt1d.h"
#include "ipbase/ipLFilt2d.h"
#include "tests/support/filter_pictures.h"
#include "tests/support/literal_filters.h"

namespace test {
namespace {

using Size = KrTSize<std::uint32_t>;
using Bytes = std::vector<std::uint8_t>;
using MaskPicture = Picture<std::uint8_t>;

enum Kind { eKernel, eGauss, eMean, eMedian, eMinimum, eMaximum, eBinaryMin, eBinaryMax, eRecursive };

struct ImageCase {
    Kind kind;
    std::uint32_t line;
    const wchar_t* name;
    void (*run)(Size size, KrAOI* src, KrAOI* dst, KrAOI8* mask, MaskConsideration consideration);
};

template <class Filter>
void RunSize(Size size, KrAOI* src, KrAOI* dst, KrAOI8* mask, MaskConsideration consideration) {
    Filter().Execute(size, src, dst, mask, consideration);
}
KrTBuf2D<std::int32_t> Kernel(Size size) {
    KrTBuf2D<std::int32_t> kernel(size.cx, size.cy);
    const auto weights = Weights(static_cast<int>(size.cx * size.cy));
    std::copy(weights.begin(), weights.end(), kernel.Row(0));
    return kernel;
}
std::int32_t DivisorOf(Size size) { return Divisor(static_cast<int>(size.cx + size.cy)); }
double AlphaOf(Size size) { return 1.0 - 1.0 / size.cx; }

const ImageCase kCases[] = {
    {eKernel, 101, L"KrFilter",
     [](Size size, KrAOI* src, KrAOI* dst, KrAOI8* mask, MaskConsideration consideration) {
         KrFilter().Execute(Kernel(size), DivisorOf(size), src, dst, mask, consideration);
     }},
    {eGauss, 191, L"KrFilterGauss", RunSize<KrFilterGauss>},
    {eMedian, 306, L"KrFilterMedian", RunSize<KrFilterMedian>},
    {eMinimum, 404, L"KrFilterErosion", RunSize<KrFilterErosion>},
    {eBinaryMin, 498, L"KrFilterFastBinaryErosion", RunSize<KrFilterFastBinaryErosion>},
    {eMaximum, 595, L"KrFilterDilatation", RunSize<KrFilterDilatation>},
    {eBinaryMax, 688, L"KrFilterFastBinaryDilatation", RunSize<KrFilterFastBinaryDilatation>},
    {eRecursive, 777, L"KrFilterRecursive",
     [](Size size, KrAOI* src, KrAOI* dst, KrAOI8*, MaskConsideration) {
         KrFilterRecursive().Execute(AlphaOf(size), src, dst);
     }},
    {eMean, 872, L"KrFilterMeanSepXY", RunSize<KrFilterMeanSepXY>},
};
bool IsBinary(Kind kind) { return kind == eBinaryMin || kind == eBinaryMax; }

template <class T>
T Foreground() {
    return sizeof(T) < 4              ? static_cast<T>(-1)
           : std::is_same_v<T, float> ? static_cast<T>(3.4028235e38f)
                                      : static_cast<T>(-1);
}

// Rows, then columns; the filter gets each line and, with a mask, the mask's line.
template <class T, class F>
Picture<T> Separably(Picture<T> picture, const MaskPicture* mask, const F& filter) {
    for (const bool columns : {false, true}) {
        const int lines = columns ? picture.cx : picture.cy;
        const int count = columns ? picture.cy : picture.cx;
        for (int i = 0; i < lines; ++i) {
            Line<T> line;
            Bytes maskLine;
            for (int k = 0; k < count; ++k) {
                const int x = columns ? i : k, y = columns ? k : i;
                line.push_back(picture.At(x, y));
                if (mask) maskLine.push_back(mask->Clamped(x, y));
            }
            filter(line, maskLine, columns);
            for (int k = 0; k < count; ++k)
                picture.At(columns ? i : k, columns ? k : i) = line[static_cast<std::size_t>(k)];
        }
    }
    return picture;
}

template <class T>
Picture<T> Literal(const ImageCase& c, Size size, const Picture<T>& in, const MaskPicture* mask) {
    const int kx = static_cast<int>(size.cx), ky = static_cast<int>(size.cy);
    const auto weighted = [&](const std::vector<std::int32_t>& weights, double scale, Line<T>& line,
                              const Bytes& bytes) {
        if (mask)
            LiteralMasked(line, weights, bytes);
        else
            LiteralWeighted(line, weights, scale, -static_cast<int>(weights.size()) / 2);
    };
    switch (c.kind) {
        case eGauss:
            return Separably(in, mask, [&](Line<T>& line, const Bytes& bytes, bool columns) {
                const int k = columns ? ky : kx;
                weighted(PascalRow(k), std::ldexp(1.0, 1 - k), line, bytes);
            });
        case eMean:
            return Separably(in, mask, [&](Line<T>& line, const Bytes& bytes, bool columns) {
                const int k = columns ? ky : kx;
                weighted(std::vector<std::int32_t>(static_cast<std::size_t>(k), 1), 1.0 / k, line, bytes);
            });
        case eBinaryMin:
        case eBinaryMax:
            return Separably(in, nullptr, [&](Line<T>& line, const Bytes&, bool columns) {
                LiteralBinary(line, (columns ? ky : kx) / 2, Foreground<T>(), c.kind == eBinaryMax);
            });
        case eRecursive:
            return Separably(in, nullptr,
                             [&](Line<T>& line, const Bytes&, bool) { LiteralRecursive(line, AlphaOf(size)); });
        default: break;
    }
    Picture<T> out = in;
    const auto weights = c.kind == eKernel ? Weights(kx * ky) : std::vector<std::int32_t>();
    // Sums and medians look beyond the image for the mask, minima and maxima do not.
    const bool extreme = c.kind == eMinimum || c.kind == eMaximum;
    std::function<bool(int, int)> valid;
    if (mask)
        valid = [&](int x, int y) {
            return (extreme ? mask->Clamped(std::min(x, in.cx - 1), std::min(y, in.cy - 1)) : mask->Clamped(x, y)) < 64;
        };
    for (int y = 0; y < in.cy; ++y)
        for (int x = 0; x < in.cx; ++x) {
            if (valid && !valid(x, y)) continue;
            auto window = LiteralWindow(in.pixels, in.cx, in.cy, x, y, kx, ky, weights, valid);
            if (c.kind == eKernel) {
                out.At(x, y) = LiteralSum(window, 1.0 / DivisorOf(size), mask != nullptr);
                continue;
            }
            std::sort(window.samples.begin(), window.samples.end());
            const std::size_t n = window.samples.size();
            out.At(x, y) = window.samples[c.kind == eMinimum ? 0 : c.kind == eMaximum ? n - 1 : (n + 1) / 2 - 1];
        }
    return out;
}

// Values at and around the foreground, for the binary filters.
template <class T>
void MakeBinary(Picture<T>& picture, Random& random) {
    for (T& pixel : picture.pixels)
        if (random() % 4) pixel = random() % 3 ? Foreground<T>() : T{0};
}

// With a mask, which is larger or smaller than the image or has its size, or without one.
void CheckImageFilter(const ImageCase& c, const Size& window, const KrTSize<int>& size, int maskForm, Random& random) {
    SCOPED_TRACE(KrString(c.name).ToUtf8() + " " + std::to_string(window.cx) + " x " + std::to_string(window.cy) +
                 " on " + std::to_string(size.cx) + " x " + std::to_string(size.cy) + ", mask " +
                 std::to_string(maskForm));
    const int mx = maskForm == 2 ? size.cx + 3 : maskForm == 3 ? (size.cx + 1) / 2 : size.cx;
    const int my = maskForm == 2 ? size.cy + 1 : maskForm == 3 ? (size.cy + 1) / 2 : size.cy;
    auto maskPicture = RandomPicture<std::uint8_t>(mx, my, random);
    for (std::uint8_t& value : maskPicture.pixels) value = static_cast<std::uint8_t>(random() % 4 ? value % 64 : 64);
    Canvas<std::uint8_t> mask(maskPicture, maskForm == 1 ? Form::eRowless : Form::eView, 0, 0);
    ForEachType([&](auto type) {
        using T = decltype(type);
        auto source = RandomPicture<T>(size.cx, size.cy, random);
        if (IsBinary(c.kind)) MakeBinary(source, random);
        const auto expected = Literal(c, window, source, maskForm ? &maskPicture : nullptr);
        ForEachTarget([&](std::int64_t) {
            CheckLayouts(source, expected, [&](KrAOI* src, KrAOI* dst) {
                if (IsBinary(c.kind))
                    c.run(window, src, dst, nullptr, eIgnoreMask);
                else
                    c.run(window, src, dst, maskForm || window.cx != 3 ? static_cast<KrAOI8*>(mask.AOI()) : nullptr,
                          maskForm || window.cx == 3 ? eKeepMasked : eIgnoreMask);
            });
        });
    });
}
bool HasMask(const ImageCase& c) { return !IsBinary(c.kind) && c.kind != eRecursive; }

DRAWN_TEST(ImageFilters, EqualPlainLoops, 600) {
    const ImageCase& c = Drawn(draw, kCases);
    const auto side = [&] { return 1 + draw(draw(4) ? 6 : draw(4) ? 20 : 32); };
    const auto extent = [&](std::uint32_t most) { return 1 + static_cast<int>(draw(draw(8) ? most : 10 * most)); };
    const Size window = {side(), side()};
    const KrTSize<int> size = {extent(15), extent(9)};
    const int maskForm = HasMask(c) ? static_cast<int>(draw(4)) : 0;
    Random random(draw(1 << 16));
    CheckImageFilter(c, window, size, maskForm, random);
}

const ImageCase& CaseOf(Kind kind) {
    return *std::find_if(std::begin(kCases), std::end(kCases), [=](const ImageCase& c) { return c.kind == kind; });
}

// Filters a picture of random values in place, without a mask, with a random one and with one that leaves nothing out;
// binary filters have one with lone pixels, and no mask.
void CheckInPlace(Kind kind, const Size& window, int cx, int cy, Random& random) {
    const ImageCase& c = CaseOf(kind);
    const MaskPicture mixed = RandomPicture<std::uint8_t>(cx, cy, random);
    const MaskPicture valid{cx, cy, Bytes(mixed.pixels.size())};
    for (const MaskPicture* picture : {static_cast<const MaskPicture*>(nullptr), &mixed, &valid}) {
        if (picture && IsBinary(kind)) return;
        Canvas<std::uint8_t> mask(picture ? *picture : mixed, Form::eView, 0, 0);
        ForEachType([&](auto type) {
            using T = decltype(type);
            auto source = RandomPicture<T>(cx, cy, random);
            for (T& pixel : source.pixels)
                if (IsBinary(kind)) pixel = (random() % 200 == 0) == (kind == eBinaryMax) ? Foreground<T>() : T{0};
            Canvas<T> canvas(source, Form::eView, 0, 0);
            const auto expected = canvas.Expected(Literal(c, window, source, picture));
            c.run(window, canvas.AOI(), nullptr, static_cast<KrAOI8*>(mask.AOI()),
                  picture ? eConsiderMask : eIgnoreMask);
            ASSERT_EQ(expected, canvas.Memory()) << window.cx << " x " << window.cy << " on " << cx << " x " << cy;
        });
    }
}

// Integer means replace sums in double precision; even sizes have halves to be rounded.
TEST(ImageFilters, MeansOfAnySizeAreExact) {
    Random random(10);
    std::vector<std::uint32_t> sizes{255, 256, 257, 300};
    for (std::uint32_t taps = 1; taps < 140; taps += taps < 40 ? 1 : 9) sizes.push_back(taps);
    for (const std::uint32_t taps : sizes) {
        CheckInPlace(eMean, {1, taps}, 70, 200, random);
        CheckInPlace(eMean, {taps, 1}, 200, 3, random);
    }
    CheckInPlace(eMean, {1, 40000}, 70, 2, random);
}

// Edges whose fill spans words of bits, at widths around multiples of what is computed at once.
TEST(ImageFilters, BinaryEdgesOfLongRows) {
    Random random(12);
    for (const Kind kind : {eBinaryMin, eBinaryMax})
        for (const int width : {511, 512, 513, 1100})
            for (const std::uint32_t taps : {3u, 11u, 13u, 131u, 300u}) CheckInPlace(kind, {taps, 1}, width, 6, random);
}

// Beyond what networks sort and histograms of columns hold.
TEST(ImageFilters, MediansOfLargeWindows) {
    Random random(11);
    for (const Size window : {Size{15, 15}, Size{25, 25}, Size{17, 15}, Size{16, 16}, Size{1, 256}, Size{2, 300},
                              Size{300, 2}, Size{170, 200}, Size{1, 500}})
        for (const KrTSize<int>& size : {KrTSize<int>{20, 9}, KrTSize<int>{3, 40}})
            CheckInPlace(eMedian, window, size.cx, size.cy, random);
}

TEST(ImageFilters, RejectOtherTypesAndConsideredBinaryMasks) {
    std::size_t listed = 0;
    for (const OperationInfo& info : ImageFilterOperations()) listed += info.types.size();
    EXPECT_EQ(std::size(kCases) * 4, listed);
    for (const ImageCase& c : kCases) {
        for (const MaskConsideration consideration : {eIgnoreMask, eConsiderMask})
            if (!consideration || !IsBinary(c.kind))
                CheckFilterTypes(c.name, L"C\\ipLFilt2d", c.line, [&](KrAOI* src, KrAOI* dst) {
                    c.run({3, 3}, src, dst, nullptr, consideration);
                });
        if (!IsBinary(c.kind)) continue;
        for (const DeviceType type : {eDev8, eDev16, eDev32, eDev32Float}) {
            GuardedImage image(type, 3, 3, 1);
            ExpectError(
                [&] {
                    c.run({3, 3}, image.image.get(), nullptr, nullptr, eConsiderMask);
                },
                L"Core\\vorTools\\Inc\\syfilt2d", c.kind == eBinaryMin ? 1028 : 1218,
                c.kind == eBinaryMin ? L"KrTFilterFastBinary2DErosion with Mask"
                                     : L"KrTFilterFastBinary2DDilatation with Mask");
        }
    }
}

TEST(ImageFilters, TolerateAnySize) {
    Canvas<std::uint8_t> mask({3, 2, {1, 2, 3, 4, 5, 6}}, Form::eView, 0, 0);
    for (const ImageCase& c : kCases) {
        for (const Size& size : {Size{0, 0}, Size{0, 3}, Size{3, 0}, Size{70000, 3}, Size{4000000000u, 4000000000u}})
            for (const MaskConsideration consideration : {eIgnoreMask, eConsiderMask})
                if ((c.kind != eKernel || size.cx < 100) && (!consideration || !IsBinary(c.kind)))
                    CheckGuards([&](KrAOI* image) {
                        c.run(size, image, nullptr, static_cast<KrAOI8*>(mask.AOI()), consideration);
                    });
        KrAOI8 empty;
        CheckGuards([&](KrAOI* image) { c.run({3, 3}, image, &empty, nullptr, eIgnoreMask); });
    }
}

TEST(ImageFilters, BinomialSmoothsBothWaysOnlyInPlace) {
    Random random(8);
    const auto source = RandomPicture<std::uint8_t>(20, 9, random);
    const auto vertical = AlongLines(source, true, [](Line<std::uint8_t>& line) { LiteralBinomial(line, 6); });
    const auto horizontal = AlongLines(source, false, [](Line<std::uint8_t>& line) { LiteralBinomial(line, 3); });
    const auto both = AlongLines(horizontal, true, [](Line<std::uint8_t>& line) { LiteralBinomial(line, 6); });
    Canvas<std::uint8_t> src(source, Form::eView, 0, 0), dst(source, Form::eView, 0, 0);
    const auto expected = dst.Expected(vertical), inPlace = src.Expected(both), before = src.Memory();
    KrFilterBinominal().Execute({3, 6}, src.AOI(), dst.AOI());
    EXPECT_EQ(expected, dst.Memory());
    src.AOI()->SetAOIName(L"s");
    const auto error = Thrown([&] { KrFilterBinominal().Execute({3, 24}, src.AOI(), nullptr); });
    ASSERT_TRUE(error);
    EXPECT_EQ("KrFilterFIR1D::Execute( s, s, 24, eVert )", error->GetText().ToUtf8());
    EXPECT_EQ(before, src.Memory());
    KrFilterBinominal().Execute({3, 6}, src.AOI(), nullptr);
    EXPECT_EQ(inPlace, src.Memory());
}

// The work area of the kernel template, row by row.
TEST(ImageTemplates, RollTheWorkArea) {
    struct Open : KrTFilter2D<std::uint8_t> {
        using KrTFilter2D::KrTFilter2D;
        using KrTFilter2D::mWork;
    } filter(KrTBuf2D<std::int32_t>(3, 2), 1);
    KrTBuf2D<std::uint8_t> image(2, 2);
    for (std::uint8_t i = 0; i < 4; ++i) image.Row(0)[i] = i;
    filter.PrepareFirstRow(image);
    const auto work = [&] { return Bytes(filter.mWork.Row(0), filter.mWork.Row(0) + 8); };
    EXPECT_EQ((Bytes{0, 0, 1, 1, 0, 0, 1, 1}), work());
    filter.AdvanceRow(image);
    EXPECT_EQ((Bytes{2, 2, 3, 3, 0, 0, 1, 1}), work());
}

TEST(ImageTemplates, BinaryLinesTakeAnyForeground) {
    KrTBuf1D<float> line{9.0f, 5.0f, 5.5f, 7.0f, 4.0f, 6.0f};
    KrTFilterFastBinary1DErosion<float>(3, 5.0f).Filter(line);
    const float eroded[] = {9.0f, 5.0f, 5.5f, 0.0f, 4.0f, 0.0f};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(eroded[i], line[i]);
    KrTFilterFastBinary1DDilatation<float>(4, 5.0f).Filter(line);
    const float dilated[] = {9.0f, 5.0f, 5.5f, 5.0f, 5.0f, 0.0f};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(dilated[i], line[i]);
}

}  // namespace
}  // namespace test
