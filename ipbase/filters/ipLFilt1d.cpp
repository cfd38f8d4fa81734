#include "ipbase/ipLFilt1d.h"

#include <limits>

#include "ipbase/filters/blockwindow.h"
#include "ipbase/filters/image.h"
#include "ipbase/filters/operations.h"
#include "ipbase/filters/recursive.h"

namespace KrN {

namespace {

constexpr const wchar_t* kFile = L"C\\ipLFilt1d";

// What a filter does to every line, and which way the lines run.
struct WindowJob {
    LineWindow window;
    EDir dir;
    template <class T>
    void Run(const KrTAOI<T>& src, KrTAOI<T>& dst) const {
        (dir == eHor ? FilterAlongRows<T> : FilterAlongColumns<T>)(window, src, dst);
    }
};
struct RecursiveJob {
    double alpha;
    EDir dir;
    template <class T>
    void Run(const KrTAOI<T>& src, KrTAOI<T>& dst) const {
        (dir == eHor ? SmoothAlongRows<T> : SmoothAlongColumns<T>)(alpha, src, dst);
    }
};

template <class Job, class T>
void RunJob(const Job& job, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    job.Run(src, dst);
}
template <class Job>
using Filter = Operation<void(const Job&, KrAOI*, KrAOI*)>;
template <class Job>
constexpr Filter<Job> MakeFilter(std::uint32_t line, const wchar_t* format) {
    return Filter<Job>::template Of<&RunJob<Job, std::uint8_t>, &RunJob<Job, std::uint16_t>, &RunJob<Job, std::int32_t>,
                                    &RunJob<Job, float>>(kFile, line, format);
}

constexpr std::tuple kFilters{MakeFilter<WindowJob>(582, L"KrFilterHorizontal( %s, %s )"),
                              MakeFilter<WindowJob>(685, L"KrFilterVertical( %s, %s )"),
                              MakeFilter<WindowJob>(782, L"KrFilterHorGauss( %s, %s )"),
                              MakeFilter<WindowJob>(880, L"KrFilterVerGauss( %s, %s )"),
                              MakeFilter<WindowJob>(987, L"KrFilterHorMedian( %s, %s )"),
                              MakeFilter<WindowJob>(1085, L"KrFilterVerMedian( %s, %s )"),
                              MakeFilter<WindowJob>(1189, L"KrFilterHorErosion( %s, %s )"),
                              MakeFilter<WindowJob>(1287, L"KrFilterVerErosion( %s, %s )"),
                              MakeFilter<WindowJob>(1392, L"KrFilterHorDilatation( %s, %s )"),
                              MakeFilter<WindowJob>(1490, L"KrFilterVerDilatation( %s, %s )"),
                              MakeFilter<RecursiveJob>(1593, L"KrFilterHorRecursive( %s, %s )"),
                              MakeFilter<RecursiveJob>(1691, L"KrFilterVerRecursive( %s, %s )")};
const auto& [kHorizontal, kVertical, kHorGauss, kVerGauss, kHorMedian, kVerMedian, kHorErosion, kVerErosion,
             kHorDilatation, kVerDilatation, kHorRecursive, kVerRecursive] = kFilters;

// Along rows or down columns; without a destination in place.
void AlongRows(const Filter<WindowJob>& filter, const LineWindow& window, KrAOI* src, KrAOI* dst) {
    filter({window, eHor}, src, dst ? dst : src);
}
void DownColumns(const Filter<WindowJob>& filter, const LineWindow& window, KrAOI* src, KrAOI* dst) {
    filter({window, eVert}, src, dst ? dst : src);
}

}  // namespace

VORIP_FILTER_DEFAULTS(KrFilterHorizontal);
VORIP_FILTER_DEFAULTS(KrFilterVertical);
VORIP_FILTER_DEFAULTS(KrFilterHorGauss);
VORIP_FILTER_DEFAULTS(KrFilterVerGauss);
VORIP_FILTER_DEFAULTS(KrFilterHorMedian);
VORIP_FILTER_DEFAULTS(KrFilterVerMedian);
VORIP_FILTER_DEFAULTS(KrFilterHorErosion);
VORIP_FILTER_DEFAULTS(KrFilterVerErosion);
VORIP_FILTER_DEFAULTS(KrFilterHorDilatation);
VORIP_FILTER_DEFAULTS(KrFilterVerDilatation);
VORIP_FILTER_DEFAULTS(KrFilterHorRecursive);
VORIP_FILTER_DEFAULTS(KrFilterVerRecursive);
VORIP_FILTER_DEFAULTS(KrFilterFIR1D);
VORIP_FILTER_DEFAULTS(KrFilterBinominal1D);

void KrFilterHorizontal::Execute(const KrTBuf1D<std::int32_t>& kernel, std::int32_t divisor, KrAOI* src, KrAOI* dst) {
    AlongRows(kHorizontal, KernelWindow(kernel, 1.0 / divisor), src, dst);
}
void KrFilterVertical::Execute(const KrTBuf1D<std::int32_t>& kernel, std::int32_t divisor, KrAOI* src, KrAOI* dst) {
    DownColumns(kVertical, KernelWindow(kernel, 1.0 / divisor), src, dst);
}
void KrFilterHorGauss::Execute(std::uint32_t taps, KrAOI* src, KrAOI* dst) {
    AlongRows(kHorGauss, GaussWindow(taps), src, dst);
}
void KrFilterVerGauss::Execute(std::uint32_t taps, KrAOI* src, KrAOI* dst) {
    DownColumns(kVerGauss, GaussWindow(taps), src, dst);
}
void KrFilterHorMedian::Execute(std::uint32_t taps, KrAOI* src, KrAOI* dst) {
    AlongRows(kHorMedian, RankWindow(WindowKind::eMedian, taps), src, dst);
}
void KrFilterVerMedian::Execute(std::uint32_t taps, KrAOI* src, KrAOI* dst) {
    DownColumns(kVerMedian, RankWindow(WindowKind::eMedian, taps), src, dst);
}
void KrFilterHorErosion::Execute(std::uint32_t taps, KrAOI* src, KrAOI* dst) {
    AlongRows(kHorErosion, RankWindow(WindowKind::eMinimum, taps), src, dst);
}
void KrFilterVerErosion::Execute(std::uint32_t taps, KrAOI* src, KrAOI* dst) {
    DownColumns(kVerErosion, RankWindow(WindowKind::eMinimum, taps), src, dst);
}
void KrFilterHorDilatation::Execute(std::uint32_t taps, KrAOI* src, KrAOI* dst) {
    AlongRows(kHorDilatation, RankWindow(WindowKind::eMaximum, taps), src, dst);
}
void KrFilterVerDilatation::Execute(std::uint32_t taps, KrAOI* src, KrAOI* dst) {
    DownColumns(kVerDilatation, RankWindow(WindowKind::eMaximum, taps), src, dst);
}
void KrFilterHorRecursive::Execute(double alpha, KrAOI* src, KrAOI* dst) {
    kHorRecursive({alpha, eHor}, src, dst ? dst : src);
}
void KrFilterVerRecursive::Execute(double alpha, KrAOI* src, KrAOI* dst) {
    kVerRecursive({alpha, eVert}, src, dst ? dst : src);
}

// --- The 8-bit special filters

namespace {

KrString NameOf(EDir dir) { return dir == eHor ? L"eHor" : L"eVert"; }

// Without a destination the source is filtered in place.
KrAOI* DestinationOf(const KrAOI* src, KrAOI* dst) { return dst ? dst : const_cast<KrAOI*>(src); }

bool Are8Bit(const KrAOI* src, const KrAOI* dst) { return TypesOfOperands(src, dst) == TypesOf<KrAOI8, KrAOI8>(); }

// Here the window of an even number of taps reaches one sample further to the right.
LineWindow RightWindow(LineWindow window) {
    window.left = window.taps > 0 ? (window.taps - 1) / 2 : 0;
    return window;
}

std::int32_t Product(std::int32_t sample, std::int32_t weight) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(sample) * static_cast<std::uint32_t>(weight));
}

// Symmetric kernels of five or more taps are folded: where the window lies within the line, a weight is multiplied by
// the sum of its two samples. Only where that product exceeds 32 bits is it another one than the sum of two products.
bool FoldingShows(const KrTBuf1D<std::int32_t>& kernel) {
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max() / (2 * 255);
    bool symmetric = kernel.Size() >= 5, large = false;
    for (std::size_t k = 0, last = kernel.Size() - 1; k < kernel.Size() / 2; ++k) {
        symmetric = symmetric && kernel[k] == kernel[last - k];
        large = large || kernel[k] > most || kernel[k] < -most;
    }
    return symmetric && large;
}

void FilterFolded(const LineWindow& window, const std::uint8_t* padded, std::uint8_t* out, std::size_t count) {
    const KrTBuf1D<std::int32_t>& weights = window.weights;
    const std::size_t taps = window.taps;
    for (std::size_t i = 0; i < count; ++i) {
        const bool within = i >= window.left && i - window.left + taps <= count;
        const std::size_t pairs = within ? taps / 2 : 0;
        double sum = 0.0;
        for (std::size_t k = 0; k < pairs; ++k) sum += Product(padded[i + k] + padded[i + taps - 1 - k], weights[k]);
        for (std::size_t k = pairs; k < taps - pairs; ++k) sum += Product(padded[i + k], weights[k]);
        out[i] = RoundToPixel<std::uint8_t>(sum * window.rounding.scale);
    }
}

// Runs `line(first, step, count)` on every row or column of an image in memory.
template <class F>
void EachLine(KrTBuf2D<std::uint8_t>& image, EDir dir, const F& line) {
    const auto width = static_cast<std::uint32_t>(image.Width()), height = static_cast<std::uint32_t>(image.Height());
    for (std::size_t i = 0; i < (dir == eHor ? height : width); ++i)
        dir == eHor ? line(image.Row(i), 1, width) : line(image.Row(0) + i, width, height);
}

}  // namespace

void KrFilterFIR1D::SetKernel(const KrTBuf1D<std::int32_t>& kernel, double divisor) {
    mKernel = kernel;
    mScale = 1.0 / divisor;
}

void KrFilterFIR1D::Execute(const KrAOI* src, KrAOI* dst, EDir dir) {
    dst = DestinationOf(src, dst);
    if (!Are8Bit(src, dst))
        ThrowNotImplemented(kFile, 87, L"KrFilterFIR1D::Execute( %s, %s, %s )", src, dst, NameOf(dir));
    if (IsEmpty(src) || IsEmpty(dst)) return;
    Execute8(static_cast<const KrAOI8*>(src), static_cast<KrAOI8*>(dst), dir);
}

void KrFilterFIR1D::Execute8(const KrAOI8* src, KrAOI8* dst, EDir dir) {
    if (!FoldingShows(mKernel)) return WindowJob{RightWindow(KernelWindow(mKernel, mScale)), dir}.Run(*src, *dst);
    const KrTSize<int> region = CommonRegion(src, dst);
    if (region.cx == 0) return;
    RowReader<std::uint8_t> reader(*src, *dst, region, 1);
    RowWriter<std::uint8_t> writer(*dst, region);
    KrTBuf2D<std::uint8_t> image = ReadAll(ExtentOf(region), reader);
    EachLine(image, dir, [this](std::uint8_t* line, std::uint32_t step, std::uint32_t count) {
        FilterLine8(line, line, step, step, count);
    });
    RowReader<std::uint8_t> filtered(image);
    Copy(ExtentOf(region), filtered, writer);
}

void KrFilterFIR1D::FilterLine8(const unsigned char* src, unsigned char* dst, std::uint32_t srcStep,
                                std::uint32_t dstStep, std::uint32_t count) {
    const LineWindow window = RightWindow(KernelWindow(mKernel, mScale));
    if (window.taps == 0 || count == 0) return;
    std::vector<std::uint8_t> line(count), padded(PaddingOf(window) + count);
    for (std::size_t i = 0; i < count; ++i) line[i] = src[i * srcStep];
    PadLine(line.data(), count, window.left, PaddingOf(window) - window.left, padded.data());
    std::vector<const std::uint8_t*> taps(window.taps);
    PointTaps<std::uint8_t>(padded.data(), taps);
    if (FoldingShows(mKernel))
        FilterFolded(window, padded.data(), line.data(), count);
    else
        RunWindow(window, line.data(), taps.data(), count);
    for (std::size_t i = 0; i < count; ++i) dst[i * dstStep] = line[i];
}

void KrFilterBinominal1D::Execute(const KrAOI* src, KrAOI* dst, unsigned short order, EDir dir) {
    dst = DestinationOf(src, dst);
    constexpr std::uint32_t line = 312;
    constexpr const wchar_t* format = L"KrFilterFIR1D::Execute( %s, %s, %ld, %s )";
    if (!Are8Bit(src, dst)) ThrowNotImplemented(kFile, line, format, src, dst, order, NameOf(dir));
    if (order < 2 || order > 23)
        throw new KrNotImplementedException(kFile, line, MessageOf(format, src, dst, order, NameOf(dir)));
    if (IsEmpty(src) || IsEmpty(dst)) return;
    Execute8(static_cast<const KrAOI8*>(src), static_cast<KrAOI8*>(dst), order, dir);
}

// The sums are never negative, so that rounding half up is that of the weighted window.
void KrFilterBinominal1D::Execute8(const KrAOI8* src, KrAOI8* dst, unsigned short order, EDir dir) {
    WindowJob{RightWindow(GaussWindow(order)), dir}.Run(*src, *dst);
}

void KrFilterBinominal1D::Filter(std::uint32_t* buffer, std::uint32_t length, std::uint32_t passes) {
    if (passes == 0 || passes > 32) return;
    for (std::size_t active = std::size_t{length} + passes - 1; active + 1 > length; --active)
        for (std::size_t m = 0; m < active; ++m) buffer[m] += buffer[m + 1];
    const std::uint64_t half = std::uint64_t{1} << (passes - 1);
    for (std::size_t m = 0; m < length; ++m) buffer[m] = static_cast<std::uint32_t>((buffer[m] + half) >> passes);
}

std::vector<OperationInfo> LineFilterOperations() { return ListOperations(kFilters); }

}  // namespace KrN
