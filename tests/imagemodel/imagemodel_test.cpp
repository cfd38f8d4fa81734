// Views, buffers, values, texts, errors, tables and modules.
#include <gtest/gtest.h>
#include <opencv2/core/core_c.h>

#include <cstring>

#include "ipbase/ipFrame.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

template <class Buffer>
class Image : public ::testing::Test {};
using Buffers = ::testing::Types<KrBufferAOI8, KrBufferAOI16, KrBufferAOI32, KrBufferAOI32Float, KrBufferAOI64Double>;
TYPED_TEST_SUITE(Image, Buffers);

template <class Buffer>
Buffer Numbered(short cx, short cy) {
    Buffer buffer({cx, cy});
    Fill(buffer, [](int x, int y) { return 10 * y + x; });
    return buffer;
}
// The pixels of an image, through the row and pixel operations alone.
template <class Buffer>
std::unique_ptr<KrAOI> RowlessView(Buffer& of) {
    const Place place{0, of.GetDevType(), 0, of.GetRowIncInBytes(), of.AOIWidth(), of.AOIHeight(), Form::eRowless};
    return MakeAOI(place, reinterpret_cast<unsigned char*>(of.GetRowPointer(0)));
}

TYPED_TEST(Image, RectanglesInsideTheBufferOnly) {
    auto buffer = Numbered<TypeParam>(8, 5);
    const KrTRectangle<short> good(2, 1, 5, 3);
    buffer.SetAOIRect(good);
    EXPECT_EQ(12, buffer.ReadPixel({0, 0}));
    EXPECT_EQ(buffer.GetRowPointer(1) + 2, buffer.GetPointer({2, 1}));
    EXPECT_EQ(24, *buffer.GetPointer({2, 1}));
    EXPECT_EQ(8 * sizeof(typename TypeParam::Pixel), buffer.GetRowIncInBytes());
    const KrTRectangle<short> outside[] = {{-1, 0, 2, 2}, {0, -1, 2, 2}, {7, 0, 2, 2},  {0, 4, 2, 2},
                                           {0, 0, 9, 1},  {0, 0, 1, 6},  {0, 0, -1, 1}, {32767, 0, 32767, 1}};
    for (const auto& bad : outside) {
        EXPECT_TRUE(Thrown([&] { buffer.SetAOIRect(bad); }));
        EXPECT_TRUE(buffer.GetAOIRect() == good);
    }
    buffer.SetAOIRect({8, 5, 0, 0});
    EXPECT_EQ(0, buffer.AOIWidth());

    TypeParam parent({8, 5});
    using View = KrTAOI<typename TypeParam::Pixel>;
    parent.SetAOIRect({1, 1, 3, 3});
    View part(parent, {4, 2, 4, 3}, L"part");  // in coordinates of the buffer, not of the parent's view
    part.WritePixel({0, 0}, 7);
    parent.SetAOIRect({4, 2, 1, 1});
    EXPECT_EQ(7, parent.ReadPixel({0, 0}));
    EXPECT_TRUE(part.GetAOIName() == L"part");
    EXPECT_TRUE(Thrown([&] { View(parent, {5, 2, 4, 3}); }));
    View remote({4, 4}, nullptr, 0);
    EXPECT_TRUE(Thrown([&] { View(remote, {1, 1, 2, 2}); }));  // a copy of nothing
}

TYPED_TEST(Image, RowsPixelsAndColumns) {
    using T = typename TypeParam::Pixel;
    auto buffer = Numbered<TypeParam>(6, 4);
    buffer.SetAOIRect({1, 1, 4, 2});
    TypeParam own(buffer);
    const auto rowless = RowlessView(buffer);
    for (auto* image : {static_cast<KrTAOI<T>*>(&own), static_cast<KrTAOI<T>*>(rowless.get())}) {
        KrTBuf1D<T> row, longer(9);
        image->ReadRow(1, row);
        ASSERT_EQ(4u, row.Size());
        EXPECT_EQ(21, row[0]);
        EXPECT_EQ(24, row[3]);
        image->ReadRow(0, {2, 3}, longer);
        EXPECT_EQ(9u, longer.Size());
        EXPECT_EQ(13, longer[0]);
        image->WriteRow(0, {1, 2}, KrTBuf1D<T>{90, 91});
        EXPECT_EQ(90, image->ReadPixel({1, 0}));
        EXPECT_EQ(91, image->ReadPixel({2, 0}));
        KrTBuf1D<T> column;
        image->ReadColumn(2, column);
        ASSERT_EQ(2u, column.Size());
        EXPECT_EQ(23, column[1]);
        image->WriteColumn(3, KrTBuf1D<T>{50, 51});
        KrTBuf2D<T> all;
        image->ReadImage(all);
        EXPECT_EQ(51, all(3, 1));
        all(0, 0) = 77;
        image->WriteImage(all);
        EXPECT_EQ(77, image->ReadPixel({0, 0}));
    }
    KrTBuf1D<T> row(4);
    const std::function<void()> outside[] = {
        [&] { buffer.ReadRow(-1, row); },         [&] { buffer.ReadRow(2, row); },
        [&] { buffer.ReadRow(0, {0, 4}, row); },  [&] { buffer.ReadRow(0, {-1, 2}, row); },
        [&] { buffer.WriteRow(2, row); },         [&] { buffer.WriteRow(0, {1, 4}, row); },
        [&] { buffer.ReadPixel({4, 0}); },        [&] { buffer.ReadPixel({0, -1}); },
        [&] { buffer.WritePixel({0, 2}, T{1}); }, [&] { buffer.WritePixel({-1, 0}, T{1}); },
        [&] { buffer.ReadColumn(4, row); },       [&] { buffer.WriteColumn(-1, row); },
        [&] { buffer.ReadColumn(65536, row); },   [&] { buffer.WriteColumn(-65535, row); }};
    for (const auto& access : outside) EXPECT_TRUE(Thrown(access)) << &access - outside;
    const auto before = PixelsOf(buffer);
    buffer.WriteRow(0, {2, 1}, row);    // no columns
    buffer.WriteRow(0, KrTBuf1D<T>{});  // nothing to write
    EXPECT_EQ(before, PixelsOf(buffer));
}

TYPED_TEST(Image, BuffersOwnTheirPixels) {
    using T = typename TypeParam::Pixel;
    auto a = Numbered<TypeParam>(5, 3);
    a.SetAOIName(L"a");
    a.SetAOIRect({1, 1, 3, 2});
    TypeParam copy(a, 0), assigned;
    assigned = a;
    assigned = *&assigned;
    a.WritePixel({0, 0}, 99);
    for (TypeParam* other : {&copy, &assigned}) {
        EXPECT_TRUE(other->GetAOIRect() == a.GetAOIRect());
        EXPECT_TRUE(other->GetAOIName() == L"a");
        EXPECT_EQ(11, other->ReadPixel({0, 0}));
        other->SetAOIRect({0, 0, 5, 3});  // the pixels outside the view came along
        EXPECT_EQ(24, other->ReadPixel({4, 2}));
    }
    const KrTAOI<T> view(a);
    EXPECT_EQ(a.GetRowPointer(0), view.GetRowPointer(0));
    TypeParam small({1, 1});
    static_cast<KrTAOI<T>&>(small) = a;  // views the pixels of `a` from now on, as a copy of it must
    EXPECT_EQ(99, TypeParam(small).ReadPixel({0, 0}));

    copy.Resize(a);
    EXPECT_TRUE(copy.AOISize() == a.AOISize());
    EXPECT_EQ(std::vector<T>(6), PixelsOf(copy));
    EXPECT_TRUE(Thrown([&] { copy.Resize({-1, 4}); }));
    EXPECT_TRUE(Thrown([] { TypeParam({4, -1}); }));
    EXPECT_EQ(3, copy.AOIWidth());
    copy.Resize({0, 0});
    TypeParam empty(copy);
    EXPECT_EQ(0, empty.AOIHeight());
    EXPECT_TRUE(Thrown([&] { empty.CreateIplImage(); }));
}

TYPED_TEST(Image, BuffersMove) {
    auto a = Numbered<TypeParam>(5, 3);
    a.SetAOIName(L"a");
    a.SetAOIRect({1, 1, 3, 2});
    const auto* pixels = a.GetRowPointer(0);
    TypeParam moved(std::move(a));
    TypeParam assigned({2, 2});
    assigned.AdoptAOIInfo(std::make_unique<KrAOIInfo>());
    assigned = std::move(moved);
    for (TypeParam* empty : {&a, &moved}) {
        EXPECT_EQ(0, empty->AOIWidth());
        EXPECT_EQ(nullptr, empty->GetRowPointer(0));
        empty->Resize({2, 2});  // usable again
        EXPECT_EQ(0, empty->ReadPixel({1, 1}));
    }
    EXPECT_EQ(pixels, assigned.GetRowPointer(0));
    EXPECT_TRUE(assigned.GetAOIName() == L"a");
    EXPECT_EQ(nullptr, assigned.GetAOIInfo());
    assigned.SetAOIRect({0, 0, 5, 3});
    EXPECT_EQ(24, assigned.ReadPixel({4, 2}));
    std::vector<TypeParam> several(3, assigned);  // grows without copies of pixels
    pixels = several[1].GetRowPointer(0);
    several.reserve(100);
    EXPECT_EQ(pixels, several[1].GetRowPointer(0));
}

TYPED_TEST(Image, ViewsNeedRowsThatDoNotOverlap) {
    using T = typename TypeParam::Pixel;
    using View = KrTAOI<T>;
    alignas(16) unsigned char memory[256] = {};
    T* const pixels = reinterpret_cast<T*>(memory);
    const std::uint32_t row = 4 * sizeof(T);
    EXPECT_FALSE(Thrown([&] { View({4, 3}, pixels, row); }));
    EXPECT_FALSE(Thrown([&] { View({4, 1}, pixels, 0); }));
    EXPECT_FALSE(Thrown([&] { View({4, 3}, nullptr, 0); }));
    EXPECT_TRUE(Thrown([&] { View({4, 3}, pixels, row - sizeof(T)); }));
    EXPECT_TRUE(Thrown([&] { View({4, 3}, pixels, 0); }));
    if constexpr (sizeof(T) > 1) {
        EXPECT_TRUE(Thrown([&] { View({4, 3}, pixels, row + 1); }));
        EXPECT_TRUE(Thrown([&] { View({4, 1}, reinterpret_cast<T*>(memory + 1), row); }));
    }
    const auto error = Thrown([&] { View({static_cast<short>(40000), 1}, pixels, 40000 * sizeof(T)); });
    ASSERT_TRUE(error);
    EXPECT_NE(std::string::npos, error->GetText().ToUtf8().find("32767"));
}

TYPED_TEST(Image, SharesPixelsWithOpenCV) {
    auto buffer = Numbered<TypeParam>(6, 4);
    buffer.SetAOIRect({2, 1, 3, 2});
    IplImage* header = buffer.CreateIplImage();
    EXPECT_EQ(3, header->width);
    EXPECT_EQ(2, header->height);
    EXPECT_EQ(23, cvGetReal2D(header, 1, 1));
    cvSetReal2D(header, 1, 2, 55);
    cvReleaseImage(&header);
    EXPECT_EQ(55, buffer.ReadPixel({2, 1}));  // still there

    const auto rowless = RowlessView(buffer);
    header = rowless->CreateIplImage();
    EXPECT_EQ(23, cvGetReal2D(header, 1, 1));
    cvSetReal2D(header, 1, 1, 9);
    cvReleaseImage(&header);
    EXPECT_EQ(23, buffer.ReadPixel({1, 1}));  // a copy
}

TEST(ImageInfo, ReferredToOrAdopted) {
    KrAOIInfo mine;
    EXPECT_EQ(1.0, mine.valueScale);
    KrBufferAOI8 a({2, 2});
    a.SetAOIInfo(&mine);
    EXPECT_EQ(&mine, KrBufferAOI8(a).GetAOIInfo());
    auto record = std::make_unique<KrAOIInfo>();
    record->unit = L"mm";
    KrAOIInfo* adopted = record.get();
    a.AdoptAOIInfo(std::move(record));
    EXPECT_EQ(adopted, a.GetAOIInfo());
    a.SetAOIInfo(adopted);
    const KrBufferAOI8 b(a);
    EXPECT_NE(adopted, b.GetAOIInfo());
    a.SetAOIInfo(nullptr);
    EXPECT_TRUE(b.GetAOIInfo()->unit == L"mm");
}

// An image whose name or record cannot be copied: nothing has changed then, and nothing hangs on the other image.
template <class Image>
void CheckAssignment(int allocations) {
    const KrString text = L"a text that is too long to be stored without memory of its own";
    Image image, *const target = &image;
    std::unique_ptr<KrBufferAOI8> other;
    const auto prepare = [&] {
        image = KrBufferAOI8();
        other = std::make_unique<KrBufferAOI8>(KrTSize<short>(6, 5));
        other->SetAOIName(text);
        other->AdoptAOIInfo(std::make_unique<KrAOIInfo>());
        other->GetAOIInfo()->unit = text;
        other->WritePixel({5, 4}, 77);
    };
    const auto check = [&](bool failed) {
        const bool owns = std::is_same_v<Image, KrBufferAOI8>;
        if (owns) other.reset();
        EXPECT_EQ(failed, target->GetAOIName().IsEmpty());
        EXPECT_EQ(failed, target->GetRowPointer(0) == nullptr);
        EXPECT_EQ(failed, target->GetAOIInfo() == nullptr);
        EXPECT_EQ(failed ? 0 : 6, target->AOIWidth());
        if (failed) return;
        EXPECT_EQ(77, target->ReadPixel({5, 4}));
        EXPECT_TRUE(target->GetAOIInfo()->unit == text);
    };
    EXPECT_EQ(allocations, FailingAllocation::CountFailures(
                               prepare, [&] { *target = *other; }, check));
}

TEST(ImageInfo, AssignmentIsWholeOrNone) {
    CheckAssignment<KrAOI8>(3);  // the name, the record and its text
    CheckAssignment<KrBufferAOI8>(3);
    KrBufferAOI8 owner({2, 2}), user({3, 3});  // a record that comes back to where it was adopted
    owner.AdoptAOIInfo(std::make_unique<KrAOIInfo>());
    owner.GetAOIInfo()->unit = L"mm";
    user.SetAOIInfo(owner.GetAOIInfo());
    owner = user;
    EXPECT_TRUE(owner.GetAOIInfo()->unit == L"mm");
    owner = std::move(user);
    EXPECT_TRUE(owner.GetAOIInfo()->unit == L"mm");
    EXPECT_EQ(3, owner.AOIWidth());
}

TEST(Text, PrintsIntegersAsPrintf) {
    enum class Level : std::uint8_t { eHigh = 200 };
    const struct {
        std::string expected;
        std::function<void(KrString&)> print;
    } cases[] = {
        {"-1 -2147483648", [](KrString& t) { t.SPrintf(L"%d %i", 0xFFFFFFFFu, 0x80000000u); }},
        {"4294967295 ffffffff FFFFFFFE 37777777777", [](KrString& t) { t.SPrintf(L"%u %x %X %o", -1, -1, -2, -1); }},
        {"200 1 7", [](KrString& t) { t.SPrintf(L"%d %d %d", Level::eHigh, eDev8, eDev32); }},
        {"[  -1|-1  |00000000ff]", [](KrString& t) { t.SPrintf(L"[%4d|%-4d|%010x]", -1, ~0u, 255); }},
        {"[  5|-7]", [](KrString& t) { t.SPrintf(L"[%*d|%d]", 3, 5, -7); }},
        {"-1 65535 -1 ff", [](KrString& t) { t.SPrintf(L"%hd %hu %hhd %hhx", 65535, -1, 255, -1); }},
        {"-1 18446744073709551615 4294967295 ffffffff",
         [](KrString& t) { t.SPrintf(L"%ld %llu %ld %lx", -1LL, -1LL, 0xFFFFFFFFu, -1); }},
        {"-1 1", [](KrString& t) { t.SPrintf(L"%10$d %1$d", 1, 2, 3, 4, 5, 6, 7, 8, 9, ~0u); }},
        {"a b c", [](KrString& t) { t.SPrintf(L"%S %s %S", "a", std::string("b"), L"c"); }},
        {"x 100%", [](KrString& t) { t.SPrintf(L"%c %d%%", L'x', 100); }},
        {"", [](KrString& t) { t.SPrintf(nullptr, 1); }},
        {"one", [](KrString& t) { t.SPrintf(L"%s", L"one", 2); }},
        {"\xC3\xA4\xE2\x82\xAC-%d -7 0.500000 1e+300 1234567890123%",
         [](KrString& t) {
             t.SPrintf(L"%s-%s %d %lf %g %ld%%", KrString("\xC3\xA4\xE2\x82\xAC"), L"%d", -7, 0.5, 1e300,
                       1234567890123LL);
         }},
        {"a narrow text of some length \xC3\xA4",
         [](KrString& t) {
             t.SPrintf(L"%s%s%s", "a narrow text of some length ", std::wstring(L"\u00e4"),
                       static_cast<wchar_t*>(nullptr));
         }},
    };
    for (const auto& c : cases) {
        KrString text(L"before");
        c.print(text);
        EXPECT_EQ(c.expected, text.ToUtf8());
    }
    KrString text(L"kept");
    EXPECT_TRUE(Thrown([&] { text.SPrintf(L"%", 1); }));
    EXPECT_TRUE(Thrown([&] { text.SPrintf(L"%s %s", L"one"); }));
    EXPECT_TRUE(text == L"kept");
}

TEST(Text, AddsAndCompares) {
    const std::string narrow = "\xC3\xA4";
    KrString text = KrString(narrow) + L"b";
    text += "c";
    EXPECT_TRUE(text == L"\u00e4bc");
    EXPECT_TRUE(L"a" + text == L"a\u00e4bc");
    EXPECT_TRUE(KrString("a") < KrString("b"));
    EXPECT_FALSE(KrString("b") < KrString("b"));
    EXPECT_TRUE(KrString("B") < "a");
    EXPECT_STREQ(text.c_str(), KrTools::String(text).GetStr());
    EXPECT_EQ(2u, std::wcslen(KrString("\xFF\x41").c_str()));  // not UTF-8
    EXPECT_TRUE(KrString(static_cast<const wchar_t*>(nullptr)).IsEmpty());
    EXPECT_TRUE(KrString(static_cast<const char*>(nullptr)) == L"");
}

TEST(Errors, MessagesNameTheirOrigin) {
    const KrException plain(L"no file"), located(L"C\\unit", 12, L"text");
    const KrNotImplementedException missing(L"C\\unit", 105, L"Op( a, b )");
    const KrFloatDivideByZeroException zero(L"C\\unit", 822);
    EXPECT_TRUE(plain.BuildMessage() == L"no file");
    const KrException* const errors[] = {&located, &missing, &zero};
    for (const KrException* error : errors) {
        const std::string message = error->BuildMessage().ToUtf8();
        EXPECT_EQ(message, error->what());
        EXPECT_NE(std::string::npos, message.find("C\\unit"));
        EXPECT_NE(std::string::npos, message.find(std::to_string(error->GetLine())));
        EXPECT_NE(std::string::npos, message.find(error->GetText().ToUtf8()));
    }
    EXPECT_EQ("Not implemented: Op( a, b ) (C\\unit, line 105)", missing.BuildMessage().ToUtf8());
    EXPECT_EQ("Not implemented for the pixel types 8, none: Op( ,  ) (C\\unit, line 105)",
              KrNotImplementedException(L"C\\unit", 105, L"Op( ,  )", L"8, none").BuildMessage().ToUtf8());
    EXPECT_TRUE(dynamic_cast<const KrFloatMathException*>(&zero));
    EXPECT_TRUE(KrException(std::runtime_error("inner")).GetText() == L"inner");

    wchar_t buffer[6];
    std::wmemset(buffer, L'#', 6);
    unsigned help = 9;
    EXPECT_EQ(1, plain.GetErrorMessage(buffer, 5, &help));
    EXPECT_STREQ(L"no f", buffer);
    EXPECT_EQ(L'#', buffer[5]);
    EXPECT_EQ(0u, help);
    EXPECT_EQ(0, plain.GetErrorMessage(buffer, 0));
    EXPECT_EQ(0, plain.GetErrorMessage(nullptr, 5));
    EXPECT_EQ(1, plain.GetErrorMessage(buffer, 1));
    EXPECT_STREQ(L"", buffer);
}

TEST(Frame, RegistersTheModule) {
    const auto versions = [] {
        std::vector<int> found;
        for (const KrDll* module : KrDll::GetModules())
            if (module->GetName() == L"voripbase.dll") found.push_back(module->GetVersion().GetNumber());
        return found;
    };
    EXPECT_TRUE(versions().empty());
    {
        const KrDllIPBase module;
        const std::vector<KrDllIPBase> copies(1, module);
        EXPECT_EQ((std::vector<int>{308, 308}), versions());
    }
    EXPECT_TRUE(versions().empty());
}

TEST(Tables, ElementsAndRegistry) {
    KrMapLut1x8 lut;
    EXPECT_EQ(200, lut.GetElem(200));
    EXPECT_EQ(0, lut.GetElem(256));
    KrMapLut88_8 pairs;
    KrTBuf2D<std::uint8_t> elems(3, 2);
    elems(2, 1) = 5;
    pairs.Write(elems);
    EXPECT_EQ(5, pairs.GetElem(1, 2));
    EXPECT_EQ(0, pairs.GetElem(2, 1));
    EXPECT_EQ(0, pairs.GetElem(1, 3));

    auto colours = std::make_unique<KrOLut>();
    KrOLut* const raw = colours.get();
    raw->SetName(L"fire");
    raw->SetElemR(3, 30);
    raw->SetElemB(255, 31);
    raw->SetElemG(256, 32);
    EXPECT_EQ(nullptr, pOLutMgr->GetLut(L"fire"));
    pOLutMgr->AddLut(std::move(colours));
    ASSERT_EQ(raw, pOLutMgr->GetLut(L"fire"));
    EXPECT_EQ(30, raw->GetElemR(3));
    EXPECT_EQ(31, raw->GetElemB(255));
    EXPECT_EQ(0, raw->GetElemG(3));
    EXPECT_EQ(0, raw->GetElemG(256));
}

TEST(Arrays, Move) {
    KrTBuf2D<int> plane(3, 2);
    plane(2, 1) = 7;
    const int* elems = plane.Row(0);
    KrTBuf2D<int> moved(std::move(plane));
    EXPECT_EQ(elems, moved.Row(0));
    EXPECT_EQ(0u, plane.Width() + plane.Height());
    plane = std::move(moved);
    EXPECT_EQ(7, plane(2, 1));
    EXPECT_EQ(0u, moved.Width());
    plane = std::move(*&plane);
    EXPECT_EQ(7, plane(2, 1));
}

TEST(Arrays, StackAndGrowth) {
    KrTBlockMem<int> stack;
    for (int i = 0; i < 1000; ++i) stack.Push(i);
    for (int i = 999; i >= 0; --i) ASSERT_EQ(i, stack.Pop());
    EXPECT_EQ(0u, stack.Size());
    KrTBuf2D<int> plane(2, 2);
    plane(0, 0) = plane(1, 1) = 4;
    plane.Resize(3, 1);
    for (std::size_t x = 0; x < 3; ++x) EXPECT_EQ(0, plane(x, 0));
    const KrTBuf1D<int> none = {};
    EXPECT_EQ(0u, none.Size());
}

// Also where the product of the sides wraps around to a small one.
TEST(Arrays, RefuseSizesThatMemoryCannotHold) {
    KrTBuf2D<std::uint16_t> plane(2, 3);
    plane(1, 2) = 7;
    constexpr auto most = std::numeric_limits<std::size_t>::max();
    constexpr std::pair<std::size_t, std::size_t> sizes[] = {
        {most / 2 + 1, 2}, {3, most / 3 + 1}, {most, most}, {most, 1}};
    for (const auto& [width, height] : sizes) {
        EXPECT_THROW(KrTBuf2D<std::uint8_t>(width, height), std::length_error);
        EXPECT_THROW(plane.Resize(width, height), std::length_error);
    }
    EXPECT_THROW((void)KrTBuf1D<int>(most), std::length_error);
    EXPECT_EQ(2u, plane.Width());
    EXPECT_EQ(7, plane(1, 2));
}

}  // namespace
