#include "ipbase/ipLFilt2d.h"

#include "ipbase/base/rowwalk.h"
#include "ipbase/filters/operations.h"
#include "ipbase/filters/recursive.h"
#include "ipbase/filters/sizes.h"
#include "ipbase/ipLFilt1d.h"
#include "ipbase/kernels/mask.h"

namespace KrN {

namespace {

constexpr const wchar_t* kFile = L"C\\ipLFilt2d";

KrTBuf2D<std::uint8_t> ReadMask(const KrAOI8& mask) {
    const KrTSize<int> size = CommonRegion(&mask);
    KrTBuf2D<std::uint8_t> valid(static_cast<std::size_t>(size.cx), static_cast<std::size_t>(size.cy));
    VisitRows(
        Access::eSwitched,
        [&](int y, const std::uint8_t* row, std::size_t count) {
            kernels::GetMaskKernels().validate(valid.Row(static_cast<std::size_t>(y)), row, count);
        },
        &mask);
    return valid;
}

struct Masking {
    const KrAOI8* mask;
    bool useMask;
};
struct SizeJob {
    KrTSize<std::uint32_t> size;
    Masking masking;
};
struct KernelJob {
    const KrTBuf2D<std::int32_t>& kernel;
    std::int32_t divisor;
    Masking masking;
};
struct RecursiveJob {
    double alpha;
};

// Runs `filter(size, reader, writer, mask)`. The mask is read before anything is written, for it may be written, too.
template <class T, class F>
void RunFilter(const Masking& masking, const KrTAOI<T>& src, KrTAOI<T>& dst, const F& filter) {
    const KrTSize<int> region = CommonRegion(&src, &dst);
    if (region.cx == 0) return;
    const Extent size{static_cast<std::size_t>(region.cx), static_cast<std::size_t>(region.cy)};
    RowReader<T> reader(src, dst, region, 1);
    RowWriter<T> writer(dst, region);
    if (!masking.useMask || CommonRegion(masking.mask).cx == 0) return filter(size, reader, writer, nullptr);
    const KrTBuf2D<std::uint8_t> valid = ReadMask(*masking.mask);
    filter(size, reader, writer, &valid);
}

template <class Filter, class T>
void RunSized(const SizeJob& job, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    Filter::CheckMask(job.masking.useMask);
    RunFilter(job.masking, src, dst, [&](Extent size, auto& reader, auto& writer, Mask mask) {
        Filter::Run(job.size, size, reader, writer, mask);
    });
}
template <class T>
void RunKernel(const KernelJob& job, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    RunFilter(job.masking, src, dst, [&](Extent size, auto& reader, auto& writer, Mask mask) {
        FilterBlock(KernelBlock(job.kernel, 1.0 / job.divisor), size, reader, writer, mask);
    });
}
template <class T>
void RunRecursive(const RecursiveJob& job, const KrTAOI<T>& src, KrTAOI<T>& dst) {
    SmoothBothWays(job.alpha, src, dst);
}

template <class Job>
using Filter = Operation<void(const Job&, KrAOI*, KrAOI*)>;
template <class Sized>
constexpr Filter<SizeJob> SizeFilter(std::uint32_t line, const wchar_t* format) {
    return Filter<SizeJob>::Of<&RunSized<Sized, std::uint8_t>, &RunSized<Sized, std::uint16_t>,
                               &RunSized<Sized, std::int32_t>, &RunSized<Sized, float>>(kFile, line, format);
}

constexpr std::tuple kFilters{
    SizeFilter<GaussFilter>(191, L"KrFilterGauss( %s, %s )"),
    SizeFilter<RankFilter<WindowKind::eMedian>>(306, L"KrFilterMedian( %s, %s )"),
    SizeFilter<RankFilter<WindowKind::eMinimum>>(404, L"KrFilterErosion( %s, %s )"),
    SizeFilter<BinaryErosion>(498, L"KrFilterFastBinaryErosion( %s, %s )"),
    SizeFilter<RankFilter<WindowKind::eMaximum>>(595, L"KrFilterDilatation( %s, %s )"),
    SizeFilter<BinaryDilatation>(688, L"KrFilterFastBinaryDilatation( %s, %s )"),
    SizeFilter<MeanFilter>(872, L"KrFilterMeanSepXY( %s, %s )"),
    Filter<KernelJob>::Of<&RunKernel<std::uint8_t>, &RunKernel<std::uint16_t>, &RunKernel<std::int32_t>,
                          &RunKernel<float>>(kFile, 101, L"KrFilter( %s, %s )"),
    Filter<RecursiveJob>::Of<&RunRecursive<std::uint8_t>, &RunRecursive<std::uint16_t>, &RunRecursive<std::int32_t>,
                             &RunRecursive<float>>(kFile, 777, L"KrFilterRecursive( %s, %s )")};
const auto& [kGauss, kMedian, kErosion, kFastBinaryErosion, kDilatation, kFastBinaryDilatation, kMeanSepXY, kKernel,
             kRecursive] = kFilters;

}  // namespace

VORIP_FILTER_DEFAULTS(KrFilter);
VORIP_FILTER_DEFAULTS(KrFilterRecursive);
VORIP_FILTER_DEFAULTS(KrFilterBinominal);

#define VORIP_SIZE_FILTER(Class, operation)                                                     \
  VORIP_FILTER_DEFAULTS(Class);                                                                 \
  void Class::Execute(const KrTSize<std::uint32_t>& size, KrAOI* src, KrAOI* dst, KrAOI8* mask, \
                      MaskConsideration consideration) {                                        \
    operation({size, {mask, consideration != eIgnoreMask}}, src, dst ? dst : src);              \
  }
VORIP_SIZE_FILTER(KrFilterGauss, kGauss)
VORIP_SIZE_FILTER(KrFilterMeanSepXY, kMeanSepXY)
VORIP_SIZE_FILTER(KrFilterMedian, kMedian)
VORIP_SIZE_FILTER(KrFilterErosion, kErosion)
VORIP_SIZE_FILTER(KrFilterDilatation, kDilatation)
VORIP_SIZE_FILTER(KrFilterFastBinaryErosion, kFastBinaryErosion)
VORIP_SIZE_FILTER(KrFilterFastBinaryDilatation, kFastBinaryDilatation)
#undef VORIP_SIZE_FILTER

void KrFilter::Execute(const KrTBuf2D<std::int32_t>& kernel, std::int32_t divisor, KrAOI* src, KrAOI* dst, KrAOI8* mask,
                       MaskConsideration consideration) {
    kKernel({kernel, divisor, {mask, consideration != eIgnoreMask}}, src, dst ? dst : src);
}

void KrFilterRecursive::Execute(double alpha, KrAOI* src, KrAOI* dst) { kRecursive({alpha}, src, dst ? dst : src); }

void KrFilterBinominal::Execute(const KrTSize<std::uint32_t>& size, const KrAOI* src, KrAOI* dst) {
    const auto cx = static_cast<unsigned short>(size.cx), cy = static_cast<unsigned short>(size.cy);
    // The second pass must not fail after the first one has written.
    const auto fits = [](unsigned short order) { return order >= 2 && order <= 23; };
    const KrAOI* to = dst ? dst : src;
    if (TypesOfOperands(src, to) == TypesOf<KrAOI8, KrAOI8>() && fits(cx) && !fits(cy))
        return KrFilterBinominal1D().Execute(src, dst, cy, eVert);
    KrFilterBinominal1D().Execute(src, dst, cx, eHor);
    KrFilterBinominal1D().Execute(src, dst, cy, eVert);
}

std::vector<OperationInfo> ImageFilterOperations() { return ListOperations(kFilters); }

}  // namespace KrN
