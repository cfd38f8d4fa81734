#include "ipbase/ipLShadeCorr.h"

#include <algorithm>
#include <limits>

#include "ipbase/filters/block.h"
#include "ipbase/kernels/shading.h"
#include "ipbase/surface/operations.h"

namespace KrN {

using namespace kernels;

KrLShadeCorrection::KrLShadeCorrection() = default;
KrLShadeCorrection::KrLShadeCorrection(const KrLShadeCorrection&) = default;
KrLShadeCorrection& KrLShadeCorrection::operator=(const KrLShadeCorrection&) = default;
KrLShadeCorrection::~KrLShadeCorrection() = default;

template <>
struct OperationsOf<KrLShadeCorrection> {
    static constexpr const wchar_t* kFile = L"C\\ipLShadeCorr";
    using T = KrLShadeCorrection;
    using TwoImages = Operation<void(T&, KrAOI*, KrAOI*)>;

    static constexpr std::tuple all{
        TwoImages::Of<&T::GetBackgroundShade88SW, &T::GetBackgroundShade1616SW>(kFile, 52,
                                                                                L"GetBackgroundShade( %s, %s )"),
        TwoImages::Of<&T::ShadeCorrection88SW, &T::ShadeCorrection1616SW>(kFile, 339, L"ShadeCorrection( %s, %s )")};
};

namespace {

const auto& [kBackground, kCorrection] = OperationsOf<KrLShadeCorrection>::all;

}  // namespace

void KrLShadeCorrection::GetBackgroundShade(KrAOI* src, KrAOI* dst) { kBackground(*this, src, dst); }
void KrLShadeCorrection::ShadeCorrection(KrAOI* image, KrAOI* other) { kCorrection(*this, image, other); }

namespace {

constexpr std::uint32_t kMaxTaps = 32767;  // no image is larger, and sums of so many pixels fit 32 bits

std::size_t Reduced(std::size_t extent, std::uint32_t factor) {
    return std::max<std::size_t>(1, static_cast<std::size_t>(static_cast<double>(extent) / factor + 0.5));
}

template <class T>
KrTBuf2D<T> Reduce(const KrTBuf2D<T>& image, std::uint32_t factor) {
    KrTBuf2D<T> reduced(Reduced(image.Width(), factor), Reduced(image.Height(), factor));
    for (std::size_t y = 0; y < reduced.Height(); ++y) {
        const T* from = image.Row(y * factor);
        T* to = reduced.Row(y);
        for (std::size_t x = 0; x < reduced.Width(); ++x) to[x] = from[x * factor];
    }
    return reduced;
}

// Repeated dilatations along a line are one whose window reaches as many times as far. Beyond the line it reaches
// nothing new.
LineWindow DilatationWindow(std::uint32_t taps, std::uint32_t times, std::size_t extent) {
    const auto reach = [=](std::uint32_t once) {
        return static_cast<std::uint32_t>(std::min<std::uint64_t>(std::uint64_t{once} * times, extent));
    };
    const std::uint32_t left = reach(taps / 2), right = reach(taps - 1 - taps / 2);
    return {WindowKind::eMaximum, left + right + 1, left, KrTBuf1D<std::int32_t>()};
}

// The mean over a kernel from sums along the rows: it is rounded once.
template <class T>
void Smooth(std::uint32_t kw, std::uint32_t kh, KrTBuf2D<T>& image) {
    LineWindow rows = MeanWindow(kw), columns = MeanWindow(kh);
    columns.rounding = {1.0 / (static_cast<double>(rows.taps) * columns.taps)};
    rows.rounding = {};
    KrTBuf2D<std::int32_t> sums(image.Width(), image.Height());
    std::copy_n(image.Row(0), image.Width() * image.Height(), sums.Row(0));
    FilterSeparable(rows, columns, sums);
    std::transform(sums.Row(0), sums.Row(sums.Height()), image.Row(0),
                   [](std::int32_t v) { return static_cast<T>(v); });
}

// The rows of a reduced image at full width. Each is stretched when it is first asked for; the last two are kept.
template <class T>
class StretchedRows {
public:
    StretchedRows(const KrTBuf2D<T>& reduced, std::size_t width)
        : mReduced(reduced),
          mStep(static_cast<std::uint32_t>((reduced.Width() << 8) / width)),
          mPairs(reduced.Width()),
          mRows(width, 2) {}

    const T* Row(std::size_t y) {
        y = std::min(y, mReduced.Height() - 1);
        T* row = mRows.Row(y % 2);
        if (mHeld[y % 2] == y) return row;
        mHeld[y % 2] = y;
        const T* samples = mReduced.Row(y);
        const std::size_t last = mReduced.Width() - 1;
        for (std::size_t i = 0; i <= last; ++i)
            mPairs[i] = SamplePair{samples[i]} | SamplePair{samples[std::min(i + 1, last)]} << 16;
        mStretch(row, mPairs.Data(), mStep, mRows.Width());
        return row;
    }

private:
    static constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

    const StretchRow<T> mStretch = std::get<StretchRow<T>>(GetShadeCorrKernels().stretch);
    const KrTBuf2D<T>& mReduced;
    std::uint32_t mStep;
    KrTBuf1D<SamplePair> mPairs;
    KrTBuf2D<T> mRows;
    std::size_t mHeld[2] = {kNone, kNone};
};

template <class T>
void Enlarge(const KrTBuf2D<T>& reduced, KrTBuf2D<T>& image) {
    const auto blend = std::get<BlendPairRow<T>>(GetShadeCorrKernels().blend);
    const std::size_t step = (reduced.Height() << 8) / image.Height();
    StretchedRows<T> rows(reduced, image.Width());
    for (std::size_t y = 0; y < image.Height(); ++y) {
        const std::size_t position = y * step;
        const T *upper = rows.Row(position >> 8), *lower = rows.Row((position >> 8) + 1);
        blend(image.Row(y), upper, lower, static_cast<std::uint32_t>(position & 255), image.Width());
    }
}

template <class T>
void Fit(KrTBuf2D<T>& image, std::size_t width, std::size_t height) {
    if (image.Width() != width || image.Height() != height) image.Resize(width, height);
}

// Reads the region into work.image and lets `background(from, to)` make work.shade of it.
template <class T, class Work, class F>
void Prepare(const KrTAOI<T>& aoi, KrTSize<int> size, Work& work, const F& background) {
    const auto width = static_cast<std::size_t>(size.cx), height = static_cast<std::size_t>(size.cy);
    Fit(work.image, width, height);
    RowReader<T> reader(aoi, aoi, size, 1);
    for (std::size_t y = 0; y < height; ++y) std::copy_n(reader.Row(y), width, work.image.Row(y));
    work.shade.Resize(width, height);
    background(work.image, work.shade);
    if (work.image.Width() != width || work.image.Height() != height || work.shade.Width() != width ||
        work.shade.Height() != height)
        throw new KrException(L"The background of an image must have its size");
}

// Writes every row as `row(y, pixels)` makes it.
template <class T, class F>
void WriteRows(KrTAOI<T>& dst, KrTSize<int> size, const F& row) {
    RowWriter<T> writer(dst, size);
    for (std::size_t y = 0; y < static_cast<std::size_t>(size.cy); ++y) {
        row(y, writer.Row(y));
        writer.Finish(y);
    }
}

template <class T, class Work, class F>
void DeliverBackground(const KrTAOI<T>* src, KrTAOI<T>* dst, Work& work, const F& background) {
    const KrTSize<int> size = CommonRegion(src, dst);
    if (size.cx == 0) return;
    Prepare(*src, size, work, background);
    WriteRows(*dst, size, [&](std::size_t y, T* pixels) { std::copy_n(work.shade.Row(y), size.cx, pixels); });
}

template <class T, class Work, class F>
void Correct(KrTAOI<T>* aoi, const KrTAOI<T>* other, Work& work, const F& background) {
    const KrTSize<int> size = CommonRegion(aoi, other);
    if (size.cx == 0) return;
    Prepare(*aoi, size, work, background);
    const KrTBuf2D<T>&image = work.image, &shade = work.shade;
    const ShadeCorrKernels& rows = GetShadeCorrKernels();
    Quotient most;
    std::get<GreatestQuotientRow<T>>(rows.greatest)(image.Row(0), shade.Row(0), image.Width() * image.Height(), most);
    const double greatest = static_cast<double>(most.a) / most.b;
    const double scale = most.a == 0 ? 0.0 : std::numeric_limits<T>::max() / greatest;
    WriteRows(*aoi, size, [&](std::size_t y, T* pixels) {
        std::get<DivideRow<T>>(rows.divide)(pixels, image.Row(y), shade.Row(y), scale, image.Width());
    });
}

}  // namespace

template <class T>
void KrLShadeCorrection::Background(const KrTBuf2D<T>& src, KrTBuf2D<T>& dst) const {
    Fit(dst, src.Width(), src.Height());
    if (src.Width() == 0 || src.Height() == 0) return;
    const auto atLeast1 = [](std::uint32_t value) { return std::max(value, std::uint32_t{1}); };
    const std::uint32_t kw = std::min(atLeast1(mKernelWidth), kMaxTaps),
                        kh = std::min(atLeast1(mKernelHeight), kMaxTaps);
    KrTBuf2D<T> reduced = Reduce(src, atLeast1(mReduceFactor));
    FilterSeparable(DilatationWindow(kw, mDilatations, reduced.Width()),
                    DilatationWindow(kh, mDilatations, reduced.Height()), reduced);
    Smooth(kw, kh, reduced);
    Enlarge(reduced, dst);
}

// clang-format off
void KrLShadeCorrection::mGetBackgroundShade88SW(KrTBuf2D<u8>& src, KrTBuf2D<u8>& dst) { Background(src, dst); }
void KrLShadeCorrection::mGetBackgroundShade1616SW(KrTBuf2D<u16>& src, KrTBuf2D<u16>& dst) { Background(src, dst); }
// clang-format on

void KrLShadeCorrection::GetBackgroundShade88SW(KrAOI8* src, KrAOI8* dst) {
    DeliverBackground(src, dst, mWork8, [this](auto& from, auto& to) { mGetBackgroundShade88SW(from, to); });
}
void KrLShadeCorrection::GetBackgroundShade1616SW(KrAOI16* src, KrAOI16* dst) {
    DeliverBackground(src, dst, mWork16, [this](auto& from, auto& to) { mGetBackgroundShade1616SW(from, to); });
}
void KrLShadeCorrection::ShadeCorrection88SW(KrAOI8* image, KrAOI8* other) {
    Correct(image, other, mWork8, [this](auto& from, auto& to) { mGetBackgroundShade88SW(from, to); });
}
void KrLShadeCorrection::ShadeCorrection1616SW(KrAOI16* image, KrAOI16* other) {
    Correct(image, other, mWork16, [this](auto& from, auto& to) { mGetBackgroundShade1616SW(from, to); });
}

std::vector<OperationInfo> ShadeCorrectionOperations() { return ListOperations(OperationsOf<KrLShadeCorrection>::all); }

}  // namespace KrN
