#include "ipbase/ipLRange.h"

#include "ipbase/statistics/extremes.h"
#include "ipbase/statistics/operations.h"

namespace KrN {

KrLGreyScaleRange::KrLGreyScaleRange() = default;
KrLGreyScaleRange::KrLGreyScaleRange(const KrLGreyScaleRange&) = default;
KrLGreyScaleRange& KrLGreyScaleRange::operator=(const KrLGreyScaleRange&) = default;
KrLGreyScaleRange::~KrLGreyScaleRange() = default;

template <>
struct OperationsOf<KrLGreyScaleRange> {
    using T = KrLGreyScaleRange;
    static constexpr std::tuple all{Operation<KrTFloatRange<double>(T&, const KrAOI*, const KrTPoint<short>&)>::Of<
        &T::ScanRange8SW, &T::ScanRange16SW, &T::ScanRange32SW, &T::ScanRange32FSW, &T::ScanRange64DSW>(
        L"C\\ipLRange", 61, L"KrLGreyScaleRange::Scan( %s )")};
};

namespace {

const auto& [kScan] = OperationsOf<KrLGreyScaleRange>::all;

}  // namespace

KrTFloatRange<double> KrLGreyScaleRange::Scan(const KrAOI* aoi, const KrTPoint<short>& step) {
    return kScan(*this, aoi, step);
}

namespace {

template <class T>
KrTFloatRange<double> ScanRange(const KrTAOI<T>* aoi, const KrTPoint<short>& step) {
    const auto extremes = FindExtremes(aoi, step);
    if (!extremes) return {0.0, 0.0};
    return {static_cast<double>(extremes->least), static_cast<double>(extremes->greatest)};
}

}  // namespace

KrTFloatRange<double> KrLGreyScaleRange::ScanRange8SW(const KrAOI8* aoi, const KrTPoint<short>& step) {
    return ScanRange(aoi, step);
}
KrTFloatRange<double> KrLGreyScaleRange::ScanRange16SW(const KrAOI16* aoi, const KrTPoint<short>& step) {
    return ScanRange(aoi, step);
}
KrTFloatRange<double> KrLGreyScaleRange::ScanRange32SW(const KrAOI32* aoi, const KrTPoint<short>& step) {
    return ScanRange(aoi, step);
}
KrTFloatRange<double> KrLGreyScaleRange::ScanRange32FSW(const KrAOI32Float* aoi, const KrTPoint<short>& step) {
    return ScanRange(aoi, step);
}
KrTFloatRange<double> KrLGreyScaleRange::ScanRange64DSW(const KrAOI64Double* aoi, const KrTPoint<short>& step) {
    return ScanRange(aoi, step);
}

std::vector<OperationInfo> RangeOperations() { return ListOperations(OperationsOf<KrLGreyScaleRange>::all); }

}  // namespace KrN
