// Copies, bit transfers, shifts, conversions for display, range scans and look-up tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "ipbase/ipConvert.h"
#include "ipbase/ipCopy.h"
#include "ipbase/ipLMapLut.h"
#include "ipbase/ipLRange.h"
#include "ipbase/ipLShift.h"
#include "ipbase/ipLTrans.h"
#include "ipbase/statistics/operations.h"
#include "ipbase/transfer/operations.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

thread_local KrLTransfer transfer;

// Truncation into 64 bits, of which an integer type keeps the low ones.
double Truncated(double v, DeviceType type) {
    if (type >= eDev32Float) return v;
    if (std::isnan(v)) return 0;
    if (std::fabs(v) >= 9223372036854775808.0) return v > 0 ? (type == eDev8 ? 255 : type == eDev16 ? 65535 : -1) : 0;
    const double low = Wrap(std::trunc(v), type);
    return type == eDev32 && low >= 2147483648.0 ? low - 4294967296.0 : low;
}

std::int32_t Int(double v) { return static_cast<std::int32_t>(v); }

// A field of 32 bits moved by a shift.
std::uint32_t Move(std::uint32_t field, double shift) {
    if (std::fabs(shift) >= 32) return 0;
    return shift < 0 ? field >> static_cast<int>(-shift) : field << static_cast<int>(shift);
}
struct Bits {
    std::uint32_t moved, field, old;
    Bits(P px, X x) {
        const auto mask = static_cast<std::uint32_t>(static_cast<std::int64_t>(x.c[0]));
        moved = Move(static_cast<std::uint32_t>(px[0]) & mask, x.c[1]);
        field = Move(mask, x.c[1]);
        old = static_cast<std::uint32_t>(px[1]);
    }
};

// clang-format off
const std::vector<std::vector<double>> kBitMoves = {
    {0x1E, 2, 0}, {0xF0, -4, 1}, {0x0F, 4, 1}, {0xFF, 8, 1}, {0xFF00, -8, 0}, {-1, 0, 1}, {-1, 3, 0}, {0x55, -1, 1},
    {0xFF, 32, 1}, {0xFF, -32, 0}, {-1, 31, 1}, {0xFFFF, -31, 1}, {-2147483648.0, -24, 1}, {0x3, 14, 1}, {0, 0, 1},
    {7, -2147483648.0, 1}, {7, 2147483647.0, 1}};
// clang-format on

// The mode, and the range of the image's description and whether it is valid.
const std::vector<std::vector<double>> kConversions = {
    {2, 0, 0, 0}, {0, 10.7, 200.2, 1}, {0, 10, 20, 0},      {0, 50, 50, 1},        {1, 5, 6, 1},    {0, 300, -5, 1},
    {7, 5, 6, 1}, {0, -1e9, 1e9, 1},   {0, 99.9, 100.1, 1}, {0, -1e300, 1e300, 1}, {0, 1e6, 3e9, 1}};

void Convert(Images i, const double* c) {
    KrAOIInfo info;
    info.range = {c[1], c[2]};
    info.rangeValid = c[3] != 0;
    if (i[0]) i[0]->SetAOIInfo(&info);
    KrLConvertAOI().Execute(i[0], i[1], static_cast<KrLConvertAOI::ConversionMode>(static_cast<int>(c[0])));
}

double Converted(P px, X x) {
    const double huge = std::numeric_limits<double>::max();
    Context::Extremes full{0, 255};
    if (x.types[0] == eDev16) full = {0, 65535};
    if (x.types[0] == eDev32) full = {-2147483648.0, 2147483647.0};
    if (x.types[0] == eDev32Float) full = {-std::numeric_limits<float>::max(), std::numeric_limits<float>::max()};
    if (x.types[0] == eDev64Double) full = {-huge, huge};
    Context::Extremes range = full;
    if (x.c[0] == 2 || (x.c[0] == 0 && x.c[3] == 0)) range = x.whole;
    if (x.c[0] == 0 && x.c[3] != 0) range = {x.c[1], x.c[2]};
    if (range.least > range.greatest && x.c[3] == 0) range = {0, 0};
    if (x.types[0] < eDev32Float)
        range = {std::clamp(std::trunc(range.least), full.least, full.greatest),
                 std::clamp(std::trunc(range.greatest), full.least, full.greatest)};
    range = {std::clamp(range.least, -huge, huge), std::clamp(range.greatest, -huge, huge)};
    const double v = px[0], lower = range.least, upper = range.greatest;
    if (std::isnan(v) || v <= lower || upper == lower) return 0;
    if (v >= upper) return 255;
    if (x.types[0] <= eDev16)
        return std::trunc(static_cast<float>(v - lower) * (1.0f / static_cast<float>(upper - lower)) * 255.0f);
    if (std::isfinite((upper - lower) * 255)) return std::trunc((v - lower) * 255 / (upper - lower));
    return std::trunc((v / 1024 - lower / 1024) * 255 / (upper / 1024 - lower / 1024));
}

const std::vector<OpCase>& TransferCases() {
    // clang-format off
    static const std::vector<OpCase> cases = {
        {L"Copy( %s, %s )", 77, "11 14 18 1a 44 48 77 88 81 84", [](I i, C) { transfer.Copy(i[0], i[1]); },
         [](P p, X x) { return Truncated(p[0], x.types[1]); }, {{}}, true},
        {L"CopyLow( %s, %s )", 152, "41 14 47", [](I i, C) { transfer.CopyLow(i[0], i[1]); },
         [](P p, X x) { return Wrap(p[0], x.types[1]); }, {{}}, true},
        {L"CopyHigh( %s, %s )", 190, "14 41 47", [](I i, C) { transfer.CopyHigh(i[0], i[1]); },
         [](P p, X x) { return x.types[1] == eDev8 ? std::floor(p[0] / 256) : p[0] * 256; }},
        {L"CopyEven( %s, %s )", 312, "11", [](I i, C) { transfer.CopyEven(i[0], i[1]); },
         [](P p, X x) { return x.y % 2 ? p[1] : p[0]; }, {{}}, true, false},
        {L"CopyZoom( %s, %s )", 114, "11 44 77 88", [](I i, C) { transfer.CopyZoom(i[0], i[1], 0); }},
        {L"Exchange( %s, %s )", 229, "11 44 77 88", [](I i, C) { transfer.Exchange(i[0], i[1]); }},
        {L"Clear( %s, %g )", 288, "1 4 8 a", [](I i, C c) { transfer.Clear(i[0], *c); },
         [](P, X x) { return Truncated(*x.c, x.types[0]); },
         {{70000.0}, {-1.9}, {0.99}, {255.99}, {1e18 + 4096}, {-1e300}, {HUGE_VAL}, {std::nan("")}}},
        {L"TransferBits( %s, %s, %ld, %ld )", 355, "11 41 14 44", [](I i, C c) {
             c[2] != 0 ? transfer.TransferBits(i[0], i[1], Int(c[0]), Int(c[1]), 1)
                       : transfer.TransferBits(i[0], i[1], Int(c[0]), Int(c[1]));
         }, [](P p, X x) {
             const Bits b(p, x);
             return Wrap(x.c[2] != 0 ? (b.old & ~b.field) | b.moved : b.moved, x.types[1]);
         }, kBitMoves, true},
        {L"TransferBitsWithOr( %s, %s, %ld, %ld )", 402, "11 41 14 44",
         [](I i, C c) { transfer.TransferBitsWithOr(i[0], i[1], Int(c[0]), Int(c[1])); },
         [](P p, X x) { return Wrap(Bits(p, x).old | Bits(p, x).moved, x.types[1]); }, kBitMoves, true},
        {L"TransferBitsWithAnd( %s, %s, %ld, %ld )", 447, "11 41 14 44",
         [](I i, C c) { transfer.TransferBitsWithAnd(i[0], i[1], Int(c[0]), Int(c[1])); },
         [](P p, X x) { return Wrap(Bits(p, x).old & (Bits(p, x).moved | ~Bits(p, x).field), x.types[1]); }, kBitMoves,
         true},
        {nullptr, 0, "aa",
         [](I i, C) { KrIpCopy().Copy(static_cast<KrAOI64Double*>(i[0]), static_cast<KrAOI64Double*>(i[1])); },
         [](P p, X) { return p[0]; }},
        {nullptr, 0, "7", [](I i, C c) { KrIpSet().Set(static_cast<KrAOI32*>(i[0]), *c); },
         [](P, X x) { return Truncated(*x.c, eDev32); }, {{-7.9}, {4294967297.0}, {2147483648.0}, {-1e30}, {1e30}}},
    };
    // clang-format on
    return cases;
}

// clang-format off
const std::vector<OpCase> kShiftCases = {
    {L"Shift( %s, %s )", 104, "11 44 88 aa",
     [](I i, C c) { KrLShift().Shift(i[0], i[1], static_cast<short>(c[0]), static_cast<short>(c[1]), c[2]); },
     [](P, X x) {
         const bool whole = x.types[1] < eDev32Float;
         return x.source(x.x - Int(x.c[0]), x.y - Int(x.c[1]), Truncated(x.c[2] + (whole ? 0.5 : 0.0), x.types[1]));
     },
     {{1, 1, 0.4}, {-1, 1, 300.7}, {1, -1, -3}, {-1, -1, 1e300}, {0, 0, 7}, {0, 2, 0.5}, {0, -2, 9}, {5, 0, 9},
      {-17, 0, 9}, {40, -1, 9}, {-300, 0, 9}, {0, 5, 9}, {32767, -32768, 9}},
     true, false}};
const std::vector<OpCase> kRangeCases = {
    {L"KrLGreyScaleRange::Scan( %s )", 61, "1 4 7 8 a", [](I i, C) { KrLGreyScaleRange().Scan(i[0], {1, 1}); }}};
// clang-format on
const std::vector<OpCase> kConvertCases = {
    {L"KrLConvertAOI::Execute( %s, %s)", 58, "11 41 71 81 a1", Convert, Converted, kConversions, true}};
const std::vector<OpCase>& LutCases() {
    static KrMapLut1x8 lut;
    static KrMapLut88_8 pairLut;
    KrTBuf1D<std::uint8_t> elems(256);
    KrTBuf2D<std::uint8_t> pairElems(256, 256);  // column b of row a
    for (std::size_t a = 0; a < 256; ++a) {
        elems[a] = static_cast<std::uint8_t>(a * a + 3);
        for (std::size_t b = 0; b < 256; ++b) pairElems(b, a) = static_cast<std::uint8_t>(a * 5 + b * b);
    }
    lut.Write(elems);
    lut.SetName(L"lut");
    pairLut.Write(pairElems);
    pairLut.SetName(L"lut");
    // clang-format off
    static const std::vector<OpCase> cases = {
        {L"MapLut8( %s, %s, %s )", 42, "11", [](I i, C) { KrLMapLut().MapLut8(i[0], i[1], &lut); },
         [](P p, X) { return Wrap(p[0] * p[0] + 3, eDev8); }, {{}}, true, true, {L"lut"}},
        {L"MapLut16( %s, %s, %s, %s )", 139, "111", [](I i, C) { KrLMapLut().MapLut16(i[0], i[1], i[2], &pairLut); },
         [](P p, X) { return Wrap(p[0] * 5 + p[1] * p[1], eDev8); }, {{}}, true, true, {L"lut"}}};
    // clang-format on
    return cases;
}

const Listed kListed(TransferCases(), kShiftCases, kRangeCases, kConvertCases, LutCases());

TEST(Transfer, DispatchAndErrors) {
    CheckDispatch(TransferCases(), TransferOperations(), L"C\\ipLTrans");
    CheckDispatch(kShiftCases, ShiftOperations(), L"C\\ipLShift");
    CheckDispatch(kConvertCases, ConvertOperations(), L"C\\ipConvert");
    CheckDispatch(kRangeCases, RangeOperations(), L"C\\ipLRange");
    CheckDispatch(LutCases(), MapLutOperations(), L"C\\ipLMapLut");
}

TEST(Transfer, PixelsOnEveryTarget) { CheckPixels(TransferCases()); }
TEST(Shift, PixelsOnEveryTarget) { CheckPixels(kShiftCases); }
TEST(Convert, PixelsOnEveryTarget) { CheckPixels(kConvertCases); }
TEST(MapLut, PixelsOnEveryTarget) { CheckPixels(LutCases()); }

double ZoomedPixel(const GuardedImage& src, const GuardedImage& dst, int x, int y, bool averaging) {
    const auto start = [](int i, int from, int to) { return static_cast<int>(std::floor(double(i) * from / to)); };
    const int x0 = start(x, src.place.cx, dst.place.cx), y0 = start(y, src.place.cy, dst.place.cy);
    if (!averaging) return src.Get(x0, y0);
    const int x1 = start(x + 1, src.place.cx, dst.place.cx), y1 = start(y + 1, src.place.cy, dst.place.cy);
    double sum = 0;
    for (int j = y0; j < y1; ++j)
        for (int i = x0; i < x1; ++i) sum += src.Get(i, j);
    const double mean = sum / ((x1 - x0) * (y1 - y0));
    return src.place.type == eDev32Float ? mean : std::trunc(mean);
}

void CheckZoom(DeviceType type, const int (&s)[4], int form, bool averaging) {
    GuardedImage src(type, s[0], s[1], 5, form & 1 ? Form::eRowless : Form::eView);
    GuardedImage dst(type, s[2], s[3], 6, form & 2 ? Form::eRowless : Form::eView), want(type, s[2], s[3], 6);
    transfer.CopyZoom(src.image.get(), dst.image.get(), averaging);
    want.Fill([&](int x, int y) { return ZoomedPixel(src, want, x, y, averaging); });
    ASSERT_EQ(want.memory, dst.memory) << type << ' ' << s[0] << " to " << s[2] << ' ' << averaging;
}

TEST(Transfer, CopyZoomReduces) {
    constexpr int sizes[][4] = {{9, 7, 3, 2}, {10, 10, 10, 10}, {64, 5, 7, 5},  {5, 64, 1, 63},  {17, 13, 16, 12},
                                {4, 4, 0, 2}, {70, 6, 35, 3},   {68, 5, 17, 2}, {700, 200, 2, 1}};
    ForEachTarget([&](std::int64_t) {
        for (const DeviceType type : {eDev8, eDev16, eDev32, eDev32Float})
            for (const auto& s : sizes)
                for (const int form : {0, 1, 2, 3})
                    for (const bool averaging : {false, true}) CheckZoom(type, s, form, averaging);
    });
}

TEST(Transfer, CopyZoomAndExchangeRejectSharedPixels) {
    GuardedImage src(eDev16, 8, 8, 1), larger(eDev16, 9, 8, 2);
    const auto same = src.View(), below = src.View(0, 1);
    const auto before = src.memory, largerBefore = larger.memory;
    KrAOI* const image = src.image.get();
    const auto zoom = [&](KrAOI* dst) { return [=] { transfer.CopyZoom(image, dst, 1); }; };
    for (KrAOI* dst : {image, same.get(), below.get()})
        ExpectNotImplemented(zoom(dst), L"C\\ipCopy", 250, L"CopyZoom( pSrc == pDest )");
    ExpectNotImplemented(zoom(larger.image.get()), L"C\\ipCopy", 325, L"CopyZoom( pSrc < pDest )");
    for (KrAOI* dst : {image, same.get()})
        ExpectNotImplemented([&] { transfer.Exchange(image, dst); }, L"C\\ipSwap", 40, L"Swap( pSrc == pDest )");
    EXPECT_EQ(before, src.memory);
    EXPECT_EQ(largerBefore, larger.memory);
}

TEST(Transfer, Exchange) {
    for (const DeviceType type : {eDev8, eDev16, eDev32, eDev32Float})
        for (const int form : {0, 1, 2, 3}) {
            GuardedImage a(type, 70, 4, 1, form & 1 ? Form::eRowless : Form::eView), wantA(type, 70, 4, 1);
            GuardedImage b(type, 67, 6, 2, form & 2 ? Form::eRowless : Form::eView), wantB(type, 67, 6, 2);
            transfer.Exchange(a.image.get(), b.image.get());
            for (int x = 0; x < 67; ++x)
                for (int y = 0; y < 4; ++y) {
                    const double v = wantA.Get(x, y);
                    wantA.Set(x, y, wantB.Get(x, y));
                    wantB.Set(x, y, v);
                }
            EXPECT_EQ(wantA.memory, a.memory);
            EXPECT_EQ(wantB.memory, b.memory);
        }
}

// Whole buffers are moved as one block, and overlapping views row by row in an order that spares what is still to be
// read. The result is that of separate views.
template <class Buffer, class View>
void CheckBuffers(const Drawing& draw) {
    const auto side = [&](std::uint32_t end) { return static_cast<short>(draw(end)); };
    const short w = side(10), h = side(8), edge = draw(2) ? short{0} : short{2};  // of whole buffers, or of parts
    const auto near = [&] { return static_cast<short>(draw(2) ? edge : edge / 2 * (1 + side(3))); };
    const KrTSize<short> size(static_cast<short>(w + 2 * edge), static_cast<short>(h + 2 * edge));
    const KrTRectangle<short> from{edge, edge, w, h}, to{near(), near(), w, h}, all{{0, 0}, size};
    const auto dx = static_cast<short>(side(19) - 9), dy = static_cast<short>(side(15) - 7);
    const bool same = draw(2) != 0;
    const DirectAccess access(draw(4) != 0);
    Buffer src(size), dst(size);
    Random random(draw(1 << 16));
    for (Buffer* buffer : {&src, &dst}) Fill(*buffer, [&](int, int) { return random(); });
    Buffer source(src), wanted(same ? src : dst);
    const View sourceView(source, from);
    View wantedView(wanted, to), overlapping(src, to);
    KrLShift().Shift(&sourceView, &wantedView, dx, dy, 9);

    src.SetAOIRect(from);
    dst.SetAOIRect(to);
    KrLShift().Shift(&src, !same ? &dst : from == to ? &src : static_cast<KrAOI*>(&overlapping), dx, dy, 9);
    for (Buffer* buffer : {&src, &dst}) buffer->SetAOIRect(all);
    ASSERT_EQ(PixelsOf(same ? src : dst), PixelsOf(wanted)) << w << " x " << h << ", " << dx << ", " << dy;
}

DRAWN_TEST(Shift, OfBuffersIsThatOfViews, 8000) {
    draw(2) ? CheckBuffers<KrBufferAOI8, KrAOI8>(draw) : CheckBuffers<KrBufferAOI16, KrAOI16>(draw);
    if (draw(100)) return;
    KrBufferAOI8 a({4, 4}), wider({5, 4});
    KrLShift().Shift(&a, &wider, -32768, 32767, 9);
    EXPECT_EQ(9, wider.ReadPixel({3, 3}));
    EXPECT_EQ(0, wider.ReadPixel({4, 3}));
}

TEST(Convert, NullImagesAreRefusedByAllForms) {
    KrBufferAOI16 src({2, 2});
    KrBufferAOI8 dst({2, 2});
    KrLConvertAOI convert;
    const std::function<void()> calls[] = {
        [&] { convert.Execute(static_cast<KrAOI*>(nullptr), &dst, KrLConvertAOI::eFullRange); },
        [&] { convert.Execute(static_cast<KrAOI16*>(nullptr), &dst, KrLConvertAOI::eFullRange); },
        [&] { convert.Execute(static_cast<KrAOI8*>(nullptr), &dst, KrLConvertAOI::eFullRange); },
        [&] { convert.Execute(static_cast<KrAOI64Double*>(nullptr), &dst, KrLConvertAOI::eFullRange); },
        [&] { convert.Execute(&src, static_cast<KrAOI8*>(nullptr), KrLConvertAOI::eFullRange); }};
    for (const auto& call : calls) {
        const auto error = ExpectError(call, L"C\\ipConvert", 58);
        EXPECT_NE(std::string::npos, error->BuildMessage().ToUtf8().find("none"));
        EXPECT_NE(std::string::npos, error->GetText().ToUtf8().find("(null)"));
    }
}

TEST(Convert, KeepsTheRange) {
    const GuardedImage src(eDev16, {777, 777}), dst(eDev8, {9, 9});
    KrLConvertAOI convert;
    convert.Execute(src.image.get(), dst.image.get(), KrLConvertAOI::eScannedRange);
    EXPECT_EQ(777, convert.GetConvertedRange().lower);
    EXPECT_EQ(777, convert.GetConvertedRange().upper);
    EXPECT_EQ(0, dst.Get(1));
    KrAOIInfo info;
    info.range = {-5.5, 1000.9};
    info.rangeValid = true;
    src.image->SetAOIInfo(&info);
    convert.Execute(src.image.get(), dst.image.get(), KrLConvertAOI::eInfoRange);
    EXPECT_EQ(0, convert.GetConvertedRange().lower);
    EXPECT_EQ(1000, convert.GetConvertedRange().upper);
    EXPECT_EQ(198, dst.Get(1));
}

TEST(MapLut, NullTablesAndShortTables) {
    const GuardedImage src(eDev8, {1, 2}), dst(eDev8, {77, 77});
    KrLMapLut map;
    ExpectNotImplemented([&] { map.MapLut8(src.image.get(), dst.image.get(), nullptr); }, L"C\\ipLMapLut", 42,
                         L"MapLut8( img, img, (null) )");
    ExpectNotImplemented([&] { map.MapLut16(src.image.get(), nullptr, dst.image.get(), nullptr); }, L"C\\ipLMapLut",
                         139, L"MapLut16( img, (null), img, (null) )");
    EXPECT_EQ(77, dst.Get(0));
    KrMapLut1x8 lut;
    lut.Write({9, 8});
    map.MapLut8(src.image.get(), dst.image.get(), &lut);
    EXPECT_EQ(8, dst.Get(0));
    EXPECT_EQ(0, dst.Get(1));
}

}  // namespace
