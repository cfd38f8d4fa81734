// Views of const pixels: who reads them, and that nobody writes into them.
#include <gtest/gtest.h>

#include "ipbase/voripbase.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

template <class View, class T>
std::vector<View> ReadOnlyViews(const std::vector<T>& pixels, const KrTSize<short>& size) {
    const auto increment = static_cast<std::uint32_t>(static_cast<std::size_t>(size.cx) * sizeof(T));
    const View ofMemory(size, pixels.data(), increment);
    const KrTRectangle<short> all(0, 0, size.cx, size.cy);
    View changeable(size, const_cast<T*>(pixels.data()), increment), again(ofMemory);
    return {ofMemory, View(static_cast<const View&>(changeable), all), View(again, all)};
}

// A const image that owns its pixels keeps them from views; all others are viewed as before.
template <class Buffer, class View>
void CheckViewsOfBuffers() {
    struct Derived : Buffer {
        using Buffer::Buffer;
    };
    const auto isReadOnly = [](View view) { return view.IsReadOnly(); };
    const KrTSize<short> size(3, 2);
    Derived own(size);
    own.SetAOIRect({1, 0, 2, 2});
    const Derived& same = own;
    const Buffer& fixed = own;
    for (const View& view : {View(fixed), View(same)}) {
        EXPECT_TRUE(view.IsReadOnly());
        EXPECT_TRUE(view.GetAOIRect() == own.GetAOIRect());
        EXPECT_EQ(fixed.GetRowPointer(1), view.GetRowPointer(1));
    }
    View assigned, copied(own);
    EXPECT_TRUE(isReadOnly(fixed));
    EXPECT_FALSE(isReadOnly(own) || copied.IsReadOnly() || isReadOnly(Buffer(size)) ||
                 isReadOnly(std::as_const(copied)));
    assigned = fixed;
    EXPECT_TRUE(assigned.IsReadOnly());
    assigned = own;
    EXPECT_FALSE(assigned.IsReadOnly());
    EXPECT_FALSE(Buffer(fixed).IsReadOnly() || Derived(same).IsReadOnly());
}

TEST(ReadOnly, ViewsOfConstBuffersAre) {
    CheckViewsOfBuffers<KrBufferAOI8, KrAOI8>();
    CheckViewsOfBuffers<KrBufferAOI32Float, KrAOI32Float>();
    CheckViewsOfBuffers<KrBufferAOI16, KrTAOI<std::uint16_t>>();
    const std::uint8_t pixels[4] = {};
    KrAOI8 view({2, 2}, pixels, 2);
    const auto write = [&] { view.WritePixel({0, 0}, 1); };
    const std::string rest = " is read-only: nothing can be written into it";
    EXPECT_EQ("An image (type 8, 2 x 2 pixels)" + rest, Thrown(write)->GetText().ToUtf8());
    view.SetAOIName(L"dark");
    EXPECT_EQ("The image 'dark'" + rest, Thrown(write)->GetText().ToUtf8());
}

TEST(ReadOnly, ViewsAreReadAndNotWritten) {
    const std::vector<std::uint16_t> pixels{1, 2, 3, 4, 5, 6};
    const auto before = pixels;
    for (KrAOI16& view : ReadOnlyViews<KrAOI16>(pixels, {3, 2})) {
        EXPECT_TRUE(view.IsReadOnly());
        EXPECT_EQ(6, view.ReadPixel({2, 1}));
        KrBufferAOI16 copy({3, 2});
        KrIpCopy().Copy(&view, &copy);
        EXPECT_EQ(pixels, PixelsOf(copy));
        EXPECT_FALSE(copy.IsReadOnly());
        const KrTBuf1D<std::uint16_t> row = {9};
        const KrTBuf2D<std::uint16_t> image(1, 1);
        const KrTPoint<short> origin = {0, 0};
        const KrColumnRange first = {0, 0};
        const std::function<void()> writes[] = {
            [&] { view.WritePixel(origin, 9); }, [&] { view.WriteRow(0, row); },  [&] { view.WriteRow(0, first, row); },
            [&] { view.WriteColumn(0, row); },   [&] { view.WriteImage(image); },
        };
        for (const auto& write : writes) EXPECT_TRUE(Thrown(write)) << &write - writes;
    }
    EXPECT_EQ(before, pixels);
    std::vector<std::uint16_t> mine(6);
    KrAOI16 view({3, 2}, mine.data(), 6);
    EXPECT_FALSE(view.IsReadOnly());
    KrBufferAOI16 own({3, 2});
    static_cast<KrTAOI<std::uint16_t>&>(own) = KrAOI16({3, 2}, pixels.data(), 6);
    EXPECT_TRUE(own.IsReadOnly());
    KrBufferAOI16 copied(own);
    EXPECT_FALSE(copied.IsReadOnly());
    own.Resize({3, 2});
    EXPECT_FALSE(own.IsReadOnly());
}

// All operations that are listed, with a destination that must not change.
TEST(ReadOnly, NoListedOperationWritesIntoThem) {
    for (const OpCase& op : Listed::All())
        for (const auto& types : Combinations(op.types))
            for (const bool direct : {true, false}) {
                if (types.size() == 1 && !op.formula) continue;  // which has a source only
                const DirectAccess access(direct);
                std::vector<GuardedImage> images;
                std::vector<KrAOI*> aois;
                for (const DeviceType type : types)
                    images.emplace_back(type, 40, 40, 3,
                                        images.size() + 1 < types.size() ? Form::eView : Form::eReadOnly);
                for (const GuardedImage& image : images) aois.push_back(image.image.get());
                EXPECT_TRUE(Thrown([&] { op.run(aois.data(), op.constants[0].data()); }));
                for (const GuardedImage& image : images)
                    EXPECT_EQ(GuardedImage(image.place.type, 40, 40, 3).memory, image.memory)
                        << (op.format ? KrString(op.format).ToUtf8() : "number ") << &op - Listed::All().data();
            }
}

// Operations with another form, or with one of two destinations that must not change.
TEST(ReadOnly, NoOperationWritesIntoThem) {
    const KrTSize<short> size(40, 30);
    const std::vector<std::uint8_t> pixels8(1200, 9);
    const std::vector<float> pixelsF(1200, 9.0f);
    KrAOI8 dst(size, pixels8.data(), 40), *const none = nullptr;
    KrAOI32Float dstF(size, pixelsF.data(), 160);
    KrBufferAOI8 src(size), other(size);
    KrBufferAOI8 small({20, 15}), large({80, 60});
    KrSampling how;
    how.excluded = &dst;
    KrBufferAOI16 work(size);
    KrBufferAOI32Float radians(size);
    Fill(src, [](int x, int y) { return 3 * x + y; });
    KrLUnWrap regions;
    KrLUnWrap_Velmor reliability;
    regions.Execute(&dst, &dst, &other, 0, 0, 1, 0);
    reliability.Execute(&dst, nullptr, 0, nullptr);
    const KrTSize<std::uint32_t> window(3, 3);
    const std::function<void()> operations[] = {
        [&] { KrLTransfer().Exchange(&dst, &src); },
        [&] { KrFilterMedian().Execute(window, &dst, none, nullptr, eIgnoreMask); },
        [&] { KrFilterGauss().Execute(window, &dst, none, nullptr, eIgnoreMask); },
        [&] { KrFilterHorGauss().Execute(3, &dst, none); },
        [&] { KrFilterVerMedian().Execute(3, &dst, none); },
        [&] { KrFilterRecursive().Execute(0.5, &dst, none); },
        [&] { KrFilterBinominal().Execute(window, &dst, none); },
        [&] { regions.GetResult(&work, &dst); },
        [&] { regions.GetResult(&radians, &dst); },
        [&] { regions.GetRadians(&dstF, &other); },
        [&] { regions.Execute(&src, &src, &other, &work, &dst, 0, 0, 1, 0); },
        [&] { reliability.GetResult(&work, &dst); },
        [&] { reliability.GetResult2(&work, &dst); },
        [&] { reliability.GetRadians(&radians, &dst); },
        [&] { KrLGeomet().Scale(&small, &src, how); },
        [&] { KrLGeomet().ShiftSubPixel(&small, &small, 0.5, 0.5, how); },
        [&] { KrLGeomet().PyramidDown(&large, &dst); },
        [&] { KrLGeomet().PyramidUp(&small, &dst); },
    };
    for (const bool direct : {true, false}) {
        const DirectAccess access(direct);
        for (const auto& operation : operations) {
            SCOPED_TRACE(&operation - operations);
            const auto srcBefore = PixelsOf(src);
            EXPECT_TRUE(Thrown(operation)) << (direct ? "" : "by rows");
            EXPECT_EQ(std::vector<std::uint8_t>(1200, 9), pixels8);
            EXPECT_EQ(std::vector<float>(1200, 9.0f), pixelsF);
            EXPECT_EQ(srcBefore, PixelsOf(src));
            EXPECT_EQ(std::vector<std::uint16_t>(1200), PixelsOf(work));
            EXPECT_EQ(std::vector<float>(1200), PixelsOf(radians));
        }
    }
}

}  // namespace
