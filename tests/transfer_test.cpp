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
#include "tests/support/harness.h"

namespace {

using namespace test;

KrLTransfer transfer;

// Truncation into 64 bits, of which an integer type keeps the low ones.
double Truncated(double v, DeviceType type) {
    if (type >= eDev32Float) return v;
    if (std::isnan(v)) return 0;
    if (std::fabs(v) >= 9223372036854775808.0) return v > 0 ? (type == eDev8 ? 255 : type == eDev16 ? 65535 : -1) : 0;
    const double low = Wrap(std::trunc(v), type);
    return type == eDev32 && low >= 2147483648.0 ? low - 4294967296.0 : low;
}

// A field of 32 bits moved by a shift.
std::uint32_t Move(std::uint32_t field, double shift) {
    if (std::fabs(shift) >= 32) return 0;
    return shift < 0 ? field >> static_cast<int>(-shift) : field << static_cast<int>(shift);
}
struct Bits {
    std::uint32_t moved, field, old;
    Bits(const double* px, const Context& x) {
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

double Converted(const double* px, const Context& x) {
    const double huge = std::numeric_limits<double>::max();
    const auto limits = [&](double v, double lower, double upper) { return std::min(std::max(v, lower), upper); };
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
        range = {limits(std::trunc(range.least), full.least, full.greatest),
                 limits(std::trunc(range.greatest), full.least, full.greatest)};
    range = {limits(range.least, -huge, huge), limits(range.greatest, -huge, huge)};
    const double v = px[0], lower = range.least, upper = range.greatest;
    if (std::isnan(v) || v <= lower || upper == lower) return 0;
    if (v >= upper) return 255;
    if (x.types[0] <= eDev16)
        return std::trunc(static_cast<float>(v - lower) * (1.0f / static_cast<float>(upper - lower)) * 255.0f);
    if (std::isfinite((upper - lower) * 255)) return std::trunc((v - lower) * 255 / (upper - lower));
    return std::trunc((v / 1024 - lower / 1024) * 255 / (upper / 1024 - lower / 1024));
}

KrMapLut1x8 MakeLut() {
    KrMapLut1x8 lut;
    KrTBuf1D<std::uint8_t> elems(256);
    for (std::size_t i = 0; i < 256; ++i) elems[i] = static_cast<std::uint8_t>(i * i + 3);
    lut.Write(elems);
    lut.SetName(L"lut");
    return lut;
}
KrMapLut88_8 MakePairLut() {
    KrMapLut88_8 lut;
    KrTBuf2D<std::uint8_t> elems(256, 256);  // column b of row a
    for (std::size_t a = 0; a < 256; ++a)
        for (std::size_t b = 0; b < 256; ++b) elems(b, a) = static_cast<std::uint8_t>(a * 5 + b * b);
    lut.Write(elems);
    lut.SetName(L"lut");
    return lut;
}

using P = const double*;
using X = const Context&;
using I = Images;
using C = const double*;

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
             const auto mask = static_cast<std::int32_t>(c[0]), shift = static_cast<std::int32_t>(c[1]);
             c[2] != 0 ? transfer.TransferBits(i[0], i[1], mask, shift, 1)
                       : transfer.TransferBits(i[0], i[1], mask, shift);
         }, [](P p, X x) {
             const Bits b(p, x);
             return Wrap(x.c[2] != 0 ? (b.old & ~b.field) | b.moved : b.moved, x.types[1]);
         }, kBitMoves, true},
        {L"TransferBitsWithOr( %s, %s, %ld, %ld )", 402, "11 41 14 44", [](I i, C c) {
             transfer.TransferBitsWithOr(i[0], i[1], static_cast<std::int32_t>(c[0]), static_cast<std::int32_t>(c[1]));
         }, [](P p, X x) { return Wrap(Bits(p, x).old | Bits(p, x).moved, x.types[1]); }, kBitMoves, true},
        {L"TransferBitsWithAnd( %s, %s, %ld, %ld )", 447, "11 41 14 44", [](I i, C c) {
             transfer.TransferBitsWithAnd(i[0], i[1], static_cast<std::int32_t>(c[0]), static_cast<std::int32_t>(c[1]));
         },
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

const std::vector<OpCase> kShiftCases = {
    {L"Shift( %s, %s )", 104, "11 44 88 aa", [](I i, C) { KrLShift().Shift(i[0], i[1], 1, 1, 0); }}};
const std::vector<OpCase> kRangeCases = {{L"KrLGreyScaleRange::Scan( %s )", 61, "1 4 7 8 a", [](I i, C) {
                                              KrLGreyScaleRange().Scan(i[0], {1, 1});
                                          }}};
const std::vector<OpCase> kConvertCases = {
    {L"KrLConvertAOI::Execute( %s, %s)", 58, "11 41 71 81 a1", Convert, Converted, kConversions, true}};
const std::vector<OpCase>& LutCases() {
    static const KrMapLut1x8 lut = MakeLut();
    static const KrMapLut88_8 pairLut = MakePairLut();
    // clang-format off
    static const std::vector<OpCase> cases = {
        {L"MapLut8( %s, %s, %s )", 42, "11", [](I i, C) { KrLMapLut().MapLut8(i[0], i[1], &lut); },
         [](P p, X) { return Wrap(p[0] * p[0] + 3, eDev8); }, {{}}, true, true, {L"lut"}},
        {L"MapLut16( %s, %s, %s, %s )", 139, "111", [](I i, C) { KrLMapLut().MapLut16(i[0], i[1], i[2], &pairLut); },
         [](P p, X) { return Wrap(p[0] * 5 + p[1] * p[1], eDev8); }, {{}}, true, true, {L"lut"}}};
    // clang-format on
    return cases;
}

TEST(Transfer, DispatchAndErrors) {
    CheckDispatch(TransferCases(), TransferOperations(), L"C\\ipLTrans");
    CheckDispatch(kShiftCases, ShiftOperations(), L"C\\ipLShift");
    CheckDispatch(kConvertCases, ConvertOperations(), L"C\\ipConvert");
    CheckDispatch(kRangeCases, RangeOperations(), L"C\\ipLRange");
    CheckDispatch(LutCases(), MapLutOperations(), L"C\\ipLMapLut");
}

TEST(Transfer, PixelsOnEveryTarget) { CheckPixels(TransferCases()); }
TEST(Convert, PixelsOnEveryTarget) { CheckPixels(kConvertCases); }
TEST(MapLut, PixelsOnEveryTarget) { CheckPixels(LutCases()); }

// An image in the middle of a canvas of its own, whose pixels outside the image must not change.
struct Canvas {
    static constexpr int kLeft = 3, kTop = 2;
    std::vector<unsigned char> memory;
    Place place;
    std::unique_ptr<KrAOI> image;

    Canvas(DeviceType type, int cx, int cy, unsigned seed, Form form = Form::eView)
        : place{0, type, 0, static_cast<std::size_t>(cx + 8) * PixelBytes(type), cx, cy, form} {
        memory.resize(place.stride * static_cast<std::size_t>(cy + 5));
        place.offset = kTop * place.stride + kLeft * PixelBytes(type);
        FillRandom(type, memory, seed, false);
        image = View();
    }
    std::unique_ptr<KrAOI> View(int dx = 0, int dy = 0) {
        Place moved = place;
        moved.offset = Offset(dx, dy);
        return MakeAOI(moved, memory.data(), L"img");
    }
    std::size_t Offset(int x, int y) const {
        return static_cast<std::size_t>(static_cast<int>(place.offset) + y * static_cast<int>(place.stride) +
                                        x * static_cast<int>(PixelBytes(place.type)));
    }
    double Get(int x, int y) const { return Load(place.type, &memory[Offset(x, y)]); }
    void Set(int x, int y, double v) { Store(place.type, &memory[Offset(x, y)], v); }
};

constexpr DeviceType kTypes[] = {eDev8, eDev16, eDev32, eDev32Float, eDev64Double};

double ZoomedPixel(const Canvas& src, const Canvas& dst, int x, int y, bool averaging) {
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

TEST(Transfer, CopyZoomReduces) {
    constexpr int sizes[][4] = {{9, 7, 3, 2}, {10, 10, 10, 10}, {64, 5, 7, 5},  {5, 64, 1, 63},  {17, 13, 16, 12},
                                {4, 4, 0, 2}, {70, 6, 35, 3},   {68, 5, 17, 2}, {700, 200, 2, 1}};
    for (const DeviceType type : {eDev8, eDev16, eDev32, eDev32Float})
        for (const auto& s : sizes)
            for (const int form : {0, 1, 2, 3})
                for (const bool averaging : {false, true}) {
                    Canvas src(type, s[0], s[1], 5, form & 1 ? Form::eRowless : Form::eView);
                    Canvas dst(type, s[2], s[3], 6, form & 2 ? Form::eRowless : Form::eView),
                        want = Canvas(type, s[2], s[3], 6);
                    transfer.CopyZoom(src.image.get(), dst.image.get(), averaging);
                    for (int y = 0; y < s[3]; ++y)
                        for (int x = 0; x < s[2]; ++x) want.Set(x, y, ZoomedPixel(src, want, x, y, averaging));
                    ASSERT_EQ(want.memory, dst.memory) << type << ' ' << s[0] << " to " << s[2] << ' ' << averaging;
                }
}

void ExpectError(const std::function<void()>& run, const char* text, const wchar_t* file, int line, Canvas& canvas) {
    const auto before = canvas.memory;
    const auto error = Thrown(run);
    ASSERT_TRUE(error && dynamic_cast<KrNotImplementedException*>(error.get())) << text;
    EXPECT_EQ(text, error->GetText().ToUtf8());
    EXPECT_TRUE(error->GetFile() == file);
    EXPECT_EQ(line, error->GetLine());
    EXPECT_EQ(before, canvas.memory);
}

TEST(Transfer, CopyZoomAndExchangeRejectSharedPixels) {
    Canvas src(eDev16, 8, 8, 1), larger(eDev16, 9, 8, 2);
    const auto same = src.View(), below = src.View(0, 1);
    for (KrAOI* dst : {src.image.get(), same.get(), below.get()})
        ExpectError([&] { transfer.CopyZoom(src.image.get(), dst, 1); }, "CopyZoom( pSrc == pDest )", L"C\\ipCopy", 250,
                    src);
    ExpectError([&] { transfer.CopyZoom(src.image.get(), larger.image.get(), 1); }, "CopyZoom( pSrc < pDest )",
                L"C\\ipCopy", 325, larger);
    for (KrAOI* dst : {src.image.get(), same.get()})
        ExpectError([&] { transfer.Exchange(src.image.get(), dst); }, "Swap( pSrc == pDest )", L"C\\ipSwap", 40, src);
}

TEST(Transfer, Exchange) {
    for (const DeviceType type : {eDev8, eDev16, eDev32, eDev32Float})
        for (const int form : {0, 1, 2, 3}) {
            Canvas a(type, 70, 4, 1, form & 1 ? Form::eRowless : Form::eView), wantA(type, 70, 4, 1);
            Canvas b(type, 67, 6, 2, form & 2 ? Form::eRowless : Form::eView), wantB(type, 67, 6, 2);
            transfer.Exchange(a.image.get(), b.image.get());
            for (int y = 0; y < 4; ++y)
                for (int x = 0; x < 67; ++x) {
                    const double v = wantA.Get(x, y);
                    wantA.Set(x, y, wantB.Get(x, y));
                    wantB.Set(x, y, v);
                }
            EXPECT_EQ(wantA.memory, a.memory);
            EXPECT_EQ(wantB.memory, b.memory);
        }
}

// All ways in which the two images of a shift can lie in memory.
template <class Buffer, class AOI>
class ShiftTest {
public:
    using T = typename AOI::Pixel;
    static constexpr DeviceType kType = KrTPixel<T>::device;
    // clang-format off
    enum Way { eBuffers, eBufferInPlace, eParts, ePartInPlace, eBufferToView, eRowless, eRowlessInPlace, eSizesDiffer,
               eBelow, eAbove, eWays };  // the last two are views of the same pixels
    // clang-format on

    static void Run() {
        for (int way = 0; way < eWays; ++way)
            for (const bool direct : {true, false})
                for (const auto& [cx, cy] : {std::pair{7, 5}, {1, 3}, {40, 1}, {0, 4}})
                    for (short dy = static_cast<short>(-cy - 1); dy <= cy + 1; ++dy)
                        for (short dx = static_cast<short>(-cx - 1); dx <= cx + 1;
                             dx = static_cast<short>(dx + (cx > 9 ? 5 : 1))) {
                            constexpr double fills[] = {0.4, 300.7, -3, 1e300, 0.5};
                            ShiftTest test(static_cast<Way>(way), static_cast<short>(cx), static_cast<short>(cy));
                            ASSERT_TRUE(test.Check(direct, dx, dy, fills[(dx + dy + 100) % 5]))
                                << kType << ", way " << way << ", " << cx << " x " << cy << " by " << dx << ", " << dy;
                        }
    }

private:
    // A buffer with random pixels, and a view of it with a margin around.
    struct Side {
        Buffer buffer;
        KrTRectangle<short> rect;
        std::unique_ptr<KrAOI> other;  // an image over the buffer's pixels that is not the buffer
        T* pixels;
        Side(short cx, short cy, short margin, unsigned seed)
            : buffer({static_cast<short>(cx + 2 * margin), static_cast<short>(cy + 2 * margin)}),
              rect(margin, margin, cx, cy) {
            std::vector<unsigned char> bytes(Count() * sizeof(T));
            FillRandom(kType, bytes, seed, false);
            pixels = buffer.GetRowPointer(0);
            for (std::size_t i = 0; i < Count(); ++i) pixels[i] = static_cast<T>(Load(kType, &bytes[i * sizeof(T)]));
            buffer.SetAOIRect(rect);
        }
        std::size_t Count() const {
            return static_cast<std::size_t>(buffer.GetBufferSize().cx) *
                   static_cast<std::size_t>(buffer.GetBufferSize().cy);
        }
        std::vector<T> Pixels() const { return {pixels, pixels + Count()}; }
        std::size_t At(int x, int y) const {
            return static_cast<std::size_t>((rect.origin.y + y) * buffer.GetBufferSize().cx + rect.origin.x + x);
        }
        void Replace(Form form) {
            const std::size_t stride = static_cast<std::size_t>(buffer.GetBufferSize().cx) * sizeof(T);
            other = MakeAOI({0, kType, At(0, 0) * sizeof(T), stride, rect.size.cx, rect.size.cy, form},
                            reinterpret_cast<unsigned char*>(pixels));
        }
        KrAOI* Image() { return other ? other.get() : &buffer; }
    };

    ShiftTest(Way way, short cx, short cy)
        : mSrc(cx, cy, Whole(way) ? short{0} : short{2}, 1),
          mDst(way == eSizesDiffer ? static_cast<short>(cx + 2) : cx,
               way == eSizesDiffer ? static_cast<short>(std::max(0, cy - 1)) : cy,
               Overlapping(way)                     ? short{2}
               : Whole(way) && way != eBufferToView ? short{0}
                                                    : short{1},
               2),
          mTarget(way == eBufferInPlace || way == ePartInPlace || way == eRowlessInPlace ? &mSrc : &mDst) {
        if (way == eRowless || way == eRowlessInPlace) {
            mSrc.Replace(Form::eRowless);
            mDst.Replace(Form::eRowless);
        }
        if (Overlapping(way)) {
            mDst.pixels = mSrc.pixels;
            mDst.rect.origin = way == eBelow ? KrTPoint<short>{3, 3} : KrTPoint<short>{1, 0};
        }
        if (way == eBufferToView || Overlapping(way)) mDst.Replace(Form::eView);
    }
    static bool Overlapping(Way way) { return way == eBelow || way == eAbove; }
    static bool Whole(Way way) { return way == eBuffers || way == eBufferInPlace || way == eBufferToView; }

    bool Check(bool direct, short dx, short dy, double fill) {
        const std::vector<T> in = mSrc.Pixels();
        std::vector<T> want = mTarget->Pixels();
        const double rounded = Truncated(std::is_integral_v<T> ? fill + 0.5 : fill, kType);
        for (int y = 0; y < std::min(mSrc.rect.size.cy, mTarget->rect.size.cy); ++y)
            for (int x = 0; x < std::min(mSrc.rect.size.cx, mTarget->rect.size.cx); ++x) {
                const int fromX = x - dx, fromY = y - dy;
                const bool exists = fromX >= 0 && fromX < mSrc.rect.size.cx && fromY >= 0 && fromY < mSrc.rect.size.cy;
                want[mTarget->At(x, y)] = exists ? in[mSrc.At(fromX, fromY)] : static_cast<T>(rounded);
            }
        DirectAccess access(direct);
        KrLShift().Shift(mSrc.Image(), mTarget->Image(), dx, dy, fill);
        return want == mTarget->Pixels() && (mTarget->pixels == mSrc.pixels || in == mSrc.Pixels());
    }

    Side mSrc, mDst;
    Side* mTarget;
};

TEST(Shift, EveryOffsetAndMemoryLayout) {
    ShiftTest<KrBufferAOI8, KrAOI8>::Run();
    ShiftTest<KrBufferAOI16, KrAOI16>::Run();
    ShiftTest<KrBufferAOI32Float, KrAOI32Float>::Run();
    ShiftTest<KrBufferAOI64Double, KrAOI64Double>::Run();
    KrBufferAOI8 a({4, 4}), b({4, 4});
    for (const short far : {short{-32768}, short{32767}}) KrLShift().Shift(&a, &b, far, far, 9);
    EXPECT_EQ(9, b.ReadPixel({3, 3}));
}

TEST(Range, ScansWithSteps) {
    ForEachTarget([](std::int64_t) {
        for (const DeviceType type : kTypes)
            for (const Form form : {Form::eView, Form::eRowless})
                for (const int cx : {0, 1, 63, 64, 65, 300})
                    for (const KrTPoint<short>& step : {KrTPoint<short>{1, 1}, {2, 3}, {0, -5}, {7, 1}, {400, 400}}) {
                        Canvas canvas(type, cx, 4, static_cast<unsigned>(cx), form);
                        FillRandom(type, canvas.memory, static_cast<unsigned>(cx), true);
                        double least = HUGE_VAL, greatest = -HUGE_VAL;
                        for (int y = 0; y < 4; y += std::max<int>(1, step.y))
                            for (int x = 0; x < cx; x += std::max<int>(1, step.x)) {
                                const double v = canvas.Get(x, y);
                                least = v < least ? v : least;
                                greatest = v > greatest ? v : greatest;
                            }
                        if (least > greatest) least = greatest = 0;
                        for (const bool direct : {true, false}) {
                            DirectAccess access(direct);
                            const auto range = KrLGreyScaleRange().Scan(canvas.image.get(), step);
                            EXPECT_EQ(least, range.lower) << type << ' ' << cx << ' ' << step.x;
                            EXPECT_EQ(greatest, range.upper) << type << ' ' << cx << ' ' << step.x;
                        }
                    }
    });
}

TEST(Convert, KeepsTheRange) {
    Canvas src(eDev16, 3, 1, 1), dst(eDev8, 3, 1, 2), wide(eDev64Double, 4, 1, 3), shades(eDev8, 4, 1, 4);
    for (int x = 0; x < 3; ++x) src.Set(x, 0, 777);
    KrLConvertAOI convert;
    convert.Execute(src.image.get(), dst.image.get(), KrLConvertAOI::eScannedRange);
    EXPECT_EQ(777, convert.GetConvertedRange().lower);
    EXPECT_EQ(777, convert.GetConvertedRange().upper);
    EXPECT_EQ(0, dst.Get(1, 0));
    KrAOIInfo info;
    info.range = {-5.5, 1000.9};
    info.rangeValid = true;
    src.image->SetAOIInfo(&info);
    convert.Execute(src.image.get(), dst.image.get(), KrLConvertAOI::eInfoRange);
    EXPECT_EQ(0, convert.GetConvertedRange().lower);
    EXPECT_EQ(1000, convert.GetConvertedRange().upper);
    EXPECT_EQ(198, dst.Get(1, 0));

    // The full range of doubles has no finite extent.
    const double top = std::numeric_limits<double>::max();
    const double values[] = {-top, 0, top / 2, top}, want[] = {0, 127, 191, 255};
    for (int x = 0; x < 4; ++x) wide.Set(x, 0, values[x]);
    convert.Execute(wide.image.get(), shades.image.get(), KrLConvertAOI::eFullRange);
    for (int x = 0; x < 4; ++x) EXPECT_EQ(want[x], shades.Get(x, 0));
}

TEST(MapLut, NullTablesAndShortTables) {
    Canvas src(eDev8, 5, 1, 1), dst(eDev8, 5, 1, 2);
    ExpectError([&] { KrLMapLut().MapLut8(src.image.get(), dst.image.get(), nullptr); }, "MapLut8( img, img, (null) )",
                L"C\\ipLMapLut", 42, dst);
    ExpectError([&] { KrLMapLut().MapLut16(src.image.get(), nullptr, dst.image.get(), nullptr); },
                "MapLut16( img, (null), img, (null) )", L"C\\ipLMapLut", 139, dst);
    KrMapLut1x8 lut;
    lut.Write({9, 8});
    src.Set(0, 0, 1);
    src.Set(1, 0, 2);
    KrLMapLut().MapLut8(src.image.get(), dst.image.get(), &lut);
    EXPECT_EQ(8, dst.Get(0, 0));
    EXPECT_EQ(0, dst.Get(1, 0));
}

}  // namespace
