// Classes that replace kernels: what they find, what they can set, and what is left when they throw.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "ipbase/voripbase.h"
#include "tests/support/harness.h"

namespace {

using namespace test;

// Counts every pixel in bin `bin`.
struct OneBin : KrLHistogram {
    std::uint32_t bin = 0;
    bool fails = false;
    int calls = 0;

    void Count(const KrAOI* aoi, std::uint32_t steps) {
        ++calls;
        ASSERT_EQ(steps, GetBuffer().Size());
        EXPECT_EQ(0u, GetMaxPixels());
        EXPECT_GT(GetAOIGreyRange().lower, GetAOIGreyRange().upper);
        EXPECT_EQ(steps, CalcIndex(aoi->GetDevType() == eDev8 ? 256.0 : 65536.0));
        (*this)[bin] = static_cast<std::uint32_t>(aoi->AOIWidth() * aoi->AOIHeight());
        SetAOIGreyRange({static_cast<double>(bin), static_cast<double>(bin)});
        if (fails) throw new KrException(L"no");
    }
    void Histo8SW(const KrAOI8* aoi, std::uint32_t steps) override { Count(aoi, steps); }
    void Histo16SW(const KrAOI16* aoi, std::uint32_t steps) override { Count(aoi, steps); }
    void Histo8MSW(const KrAOI8* aoi, const KrAOI8*, std::uint32_t steps) override { Count(aoi, steps); }
    void Histo16MSW(const KrAOI16* aoi, const KrAOI8*, std::uint32_t steps) override { Count(aoi, steps); }
};

TEST(Derived, HistogramsFillWhatTheyAreGiven) {
    OneBin histogram;
    KrBufferAOI8 bytes({5, 3}), none({0, 4});
    KrBufferAOI16 words({4, 4});
    histogram.Create(&bytes, 16);
    EXPECT_EQ(15u, histogram[0]);
    histogram.bin = 77;
    histogram.Create(&words, &bytes, 100);
    EXPECT_EQ(16u, histogram.GetMaxPixels());
    EXPECT_EQ(77.0, histogram.GetAOIGreyRange().upper);
    EXPECT_EQ(0u, histogram[0]);
    histogram.fails = true;
    histogram.bin = 3;
    EXPECT_TRUE(Thrown([&] { histogram.Create(&bytes, 16); }));
    EXPECT_EQ(100u, histogram.GetNumSteps());
    EXPECT_EQ(77u, histogram.GetMaxIndex());
    EXPECT_EQ(77.0, histogram.GetAOIGreyRange().lower);
    EXPECT_EQ(50u, histogram.CalcIndex(32768.0));
    histogram.calls = 0;
    histogram.Create(&none, 16);
    EXPECT_EQ(0, histogram.calls) << "a kernel gets pixels";
    EXPECT_EQ(0u, histogram.GetMaxPixels());
    EXPECT_EQ(255.0, histogram.GetAOIGreyRange().lower);
}

// Leaves a background of a single bright pixel.
struct Spot : KrLShadeCorrection {
    bool fails = false;
    template <class T>
    void Draw(const KrTBuf2D<T>& src, KrTBuf2D<T>& dst) const {
        ASSERT_EQ(src.Width(), dst.Width());
        ASSERT_EQ(src.Height(), dst.Height());
        EXPECT_EQ(0, *std::max_element(dst.Row(0), dst.Row(dst.Height())));
        dst(1, 1) = 40;
        if (fails) throw new KrException(L"no");
    }
    void mGetBackgroundShade88SW(KrTBuf2D<unsigned char>& src, KrTBuf2D<unsigned char>& dst) override {
        Draw(src, dst);
    }
    void mGetBackgroundShade1616SW(KrTBuf2D<unsigned short>& src, KrTBuf2D<unsigned short>& dst) override {
        Draw(src, dst);
    }
};

template <class Buffer>
void CheckSpot() {
    Spot spot;
    for (const short side : {short{4}, short{6}, short{6}, short{3}}) {
        Buffer image({side, 5}), background({side, 5});
        Fill(image, [](int x, int y) { return 20 + x + y; });
        spot.GetBackgroundShade(&image, &background);
        EXPECT_EQ(40, background.ReadPixel({1, 1}));
        EXPECT_EQ(0, background.ReadPixel({2, 1}));
        const auto before = PixelsOf(image);
        spot.fails = true;
        EXPECT_TRUE(Thrown([&] { spot.ShadeCorrection(&image, &image); }));
        EXPECT_EQ(before, PixelsOf(image));
        spot.fails = false;
        spot.ShadeCorrection(&image, &image);
        EXPECT_EQ(std::numeric_limits<typename Buffer::Pixel>::max(), image.ReadPixel({1, 1}));
        EXPECT_EQ(0, image.ReadPixel({0, 0}));
    }
}

TEST(Derived, BackgroundsHaveTheirSize) {
    CheckSpot<KrBufferAOI8>();
    CheckSpot<KrBufferAOI16>();
}

// "Fits" a constant, by flags of its own.
struct Constant : KrLBestFit {
    using KrLBestFit::IsExcluded;
    using KrLBestFit::SetExcluded;
    bool fails = false;
    void CalcPlane(const KrAOI8*, const KrAOI8*) override {
        const double coefficients[kTerms] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 7};
        EXPECT_EQ(1, IsEverythingMasked());
        EXPECT_EQ(0.0, *std::max_element(GetCoefficients(), GetCoefficients() + kTerms));
        EXPECT_FALSE(IsExcluded(9));
        SetEverythingMasked(0);
        SetCoefficients(coefficients);
        for (int i = 0; i < 9; ++i) SetExcluded(i, true);
        if (fails) throw new KrException(L"no");
    }
};

TEST(Derived, FitsSetTheirCoefficients) {
    Constant fit;
    KrBufferAOI8 image({4, 3}), none({0, 3});
    KrBufferAOI32Float surface({4, 3});
    const auto run = [&](const KrAOI8& source) {
        fit.Approximation(&source, &surface, nullptr, nullptr, eIgnoreMask, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1);
    };
    run(image);
    EXPECT_EQ(7.0f, surface.ReadPixel({3, 2}));
    EXPECT_EQ(0, fit.IsEverythingMasked());
    EXPECT_STREQ("null", fit.GetCoefficientText(0));
    EXPECT_STREQ("7.000000E+00", fit.GetCoefficientText(9));
    fit.fails = true;
    EXPECT_TRUE(Thrown([&] { run(image); }));
    EXPECT_EQ(7.0, fit.GetCoefficients()[9]);
    EXPECT_TRUE(fit.IsExcluded(0));
    for (const int i : {-1, 10}) {
        ExpectError([&] { fit.GetCoefficientText(i); }, L"C\\ipLBestFit", 0);
        ExpectError([&] { fit.IsExcluded(i); }, L"C\\ipLBestFit", 0);
        ExpectError([&] { fit.SetExcluded(i, true); }, L"C\\ipLBestFit", 0);
    }
    run(none);
    EXPECT_EQ(1, fit.IsEverythingMasked());
    EXPECT_EQ(0.0f, surface.ReadPixel({3, 2}));
}

// Any replaceable kernel: its images are not null and not empty.
TEST(Derived, KernelsGetPixels) {
    struct Counted : KrLThreshold {
        int calls = 0;
        void ThreshHigh8SW(const KrAOI8* src, KrAOI8* dst, double, double) override {
            ++calls;
            EXPECT_TRUE(src && dst && src->AOIWidth() > 0 && dst->AOIHeight() > 0);
        }
    } threshold;
    KrBufferAOI8 image({2, 2}), flat({3, 0});
    threshold.High(&flat, &image, 1, 1);
    threshold.High(&image, &flat, 1, 1);
    EXPECT_EQ(0, threshold.calls);
    threshold.High(&image, &image, 1, 1);
    EXPECT_EQ(1, threshold.calls);
}

// So do those that are called by way of a function.
struct Rotations : KrLRotateByShear {
    int calls = 0;
    void Rotate1616SW(const KrAOI16*, KrAOI16*, double, InterpolationMode, double, bool) override { ++calls; }
};
struct Insertions : KrLCombination {
    int calls = 0;
    void Insert1616SW(const KrAOI16*, KrAOI16*, int, int, const KrAOI8*) override { ++calls; }
};
struct Indices : KrColourIndex {
    mutable int calls = 0;
    Indices() : KrColourIndex(eLinear, 0, 1) {}
    void Execute168SW(const KrAOI16*, KrAOI8*, const KrAOI8*) const override { ++calls; }
};
struct Palettes : KrOctreeQuantizer {
    mutable int calls = 0;
    void Build888SW(const KrAOI8* r, const KrAOI8* g, const KrAOI8* b, const KrAOI8* mask, int colours) override {
        ++calls;
        KrOctreeQuantizer::Build888SW(r, g, b, mask, colours);
    }
    void Map8888SW(const KrAOI8*, const KrAOI8*, const KrAOI8*, KrAOI8*, Assignment) const override { ++calls; }
};
TEST(Derived, FunctionsCallKernelsWithPixels) {
    KrBufferAOI16 words({2, 2}), noWords({0, 2});
    KrBufferAOI8 bytes({2, 2}), noBytes({2, 0});
    Rotations rotations;
    rotations.Rotate(&noWords, &words, std::nan(""));
    rotations.Rotate(&words, &noWords, 5);
    rotations.Rotate(&words, &words, 5);
    EXPECT_EQ(1, rotations.calls);
    Insertions insertions;
    insertions.Insert(&noWords, &words, 0, 0);
    insertions.Insert(&words, &words, 0, 0);
    EXPECT_EQ(1, insertions.calls);
    Indices indices;
    indices.Execute(&words, &noBytes);
    indices.Execute(&words, &bytes);
    EXPECT_EQ(1, indices.calls);
    Palettes palettes;
    palettes.Build(&bytes, &bytes, &bytes, nullptr, 4);
    EXPECT_EQ(1, palettes.Count());
    palettes.Build(&bytes, &noBytes, &bytes, nullptr, 4);
    EXPECT_EQ(0, palettes.Count());
    palettes.Map(&bytes, &bytes, &bytes, &noBytes);
    EXPECT_EQ(1, palettes.calls);
}

// Pixels of the right type alone do not make an image of the class that a kernel takes.
TEST(Derived, ImagesOfForeignClassesAreRefused) {
    std::vector<std::uint8_t> pixels(12, 7);
    KrTAOI<std::uint8_t> foreign({4, 3}, pixels.data(), 4, L"foreign");
    KrLHistogram histogram;
    const auto error = Thrown([&] { histogram.Create(&foreign, 16); });
    ASSERT_TRUE(error);
    EXPECT_NE(std::string::npos, error->GetText().ToUtf8().find("the class of \"foreign\""));
    EXPECT_EQ(0u, histogram.GetNumSteps());
    KrBufferAOI8 copy({4, 3});
    KrLTransfer().Copy(&foreign, &copy);  // whose kernel takes any class
    EXPECT_EQ(pixels, PixelsOf(copy));
}

}  // namespace
