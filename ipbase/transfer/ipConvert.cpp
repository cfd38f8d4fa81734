#include "ipbase/ipConvert.h"

#include <array>
#include <numeric>

#include "ipbase/base/rowwalk.h"
#include "ipbase/base/scalar.h"
#include "ipbase/ipLRange.h"
#include "ipbase/kernels/scale.h"
#include "ipbase/kernels/table.h"
#include "ipbase/transfer/operations.h"

namespace KrN {

using namespace kernels;

KrLConvertAOI::KrLConvertAOI() = default;
KrLConvertAOI::KrLConvertAOI(const KrLConvertAOI&) = default;
KrLConvertAOI& KrLConvertAOI::operator=(const KrLConvertAOI&) = default;
KrLConvertAOI::~KrLConvertAOI() = default;

namespace {

template <class T>
KrTFloatRange<double> FullRange() {
    return {static_cast<double>(std::numeric_limits<T>::lowest()), static_cast<double>(std::numeric_limits<T>::max())};
}

template <class T>
KrTFloatRange<double> ChooseRange(const KrTAOI<T>* src, KrLConvertAOI::ConversionMode mode) {
    const KrAOIInfo* info = src->GetAOIInfo();
    KrTFloatRange<double> range = FullRange<T>();
    if (mode == KrLConvertAOI::eInfoRange && info && info->rangeValid)
        range = info->range;
    else if (mode == KrLConvertAOI::eInfoRange || mode == KrLConvertAOI::eScannedRange)
        range = KrLGreyScaleRange().Scan(src, {1, 1});
    if constexpr (std::is_integral_v<T>) {
        const auto truncate = [](double v) {
            const auto full = FullRange<T>();
            return std::clamp(static_cast<double>(Truncate(v)), full.lower, full.upper);
        };
        range = {truncate(range.lower), truncate(range.upper)};
    }
    return range;
}

// An infinite end counts as the largest finite value.
double Finite(double v) {
    constexpr double top = std::numeric_limits<double>::max();
    return std::clamp(v, -top, top);
}

// For ranges so wide that the product would overflow: everything is scaled down first.
template <class T>
u8 ConvertWide(T v, double lower, double upper) {
    constexpr double scale = 1.0 / 1024.0;
    if (!(v > lower)) return 0;
    if (v >= upper) return 255;
    return static_cast<u8>((v * scale - lower * scale) * 255.0 / (upper * scale - lower * scale));
}

}  // namespace

template <>
struct OperationsOf<KrLConvertAOI> {
    using T = KrLConvertAOI;
    template <class AOI>
    static constexpr auto kConvert = kExecute<T, const AOI*, KrAOI8*, T::ConversionMode>;

    static constexpr std::tuple all{Operation<void(T&, const KrAOI*, KrAOI*, T::ConversionMode)>::Of<
        kConvert<KrAOI16>, kConvert<KrAOI32>, kConvert<KrAOI32Float>, kConvert<KrAOI64Double>, kConvert<KrAOI8>>(
        L"C\\ipConvert", 58, L"KrLConvertAOI::Execute( %s, %s)")};
};

namespace {

const auto& [kConvertToBytes] = OperationsOf<KrLConvertAOI>::all;

}  // namespace

template <class T>
void KrLConvertAOI::Convert(const KrTAOI<T>* src, KrAOI8* dst, ConversionMode mode) {
    using Precision = std::conditional_t<(std::is_integral_v<T> && sizeof(T) <= 2), float, double>;
    if (!src || !dst) kConvertToBytes.Throw(src, dst, mode);
    if (CommonRegion(src, dst).cx == 0) return;
    mConvertedRange = ChooseRange(src, mode);
    const auto lower = static_cast<Precision>(Finite(mConvertedRange.lower));
    const auto upper = static_cast<Precision>(Finite(mConvertedRange.upper));
    if constexpr (std::is_floating_point_v<T>) {
        const auto wide = [=](T v) { return ConvertWide(v, lower, upper); };
        if (upper > lower && !std::isfinite((upper - lower) * 255.0))
            return WalkRows(
                Access::eSwitched, [=](u8* d, const T* s, std::size_t n) { std::transform(s, s + n, d, wide); }, dst,
                src);
    }
    // Ends in the wrong order leave a step above the lower one, equal ends leave nothing.
    constexpr Precision infinity = std::numeric_limits<Precision>::infinity();
    const Window<Precision> window = lower < upper ? Window<Precision>{lower, upper, upper - lower, 255}
                                                   : Window<Precision>{lower, std::nextafter(lower, infinity), 1,
                                                                       upper == lower || std::isnan(lower) ? 0 : 255};
    const auto row = std::get<ConstantRow<u8, T, Window<Precision>>>(GetScaleKernels().window);
    if constexpr (sizeof(T) == 1) {
        std::array<u8, 256> values, table;
        std::iota(values.begin(), values.end(), u8{0});
        row(table.data(), values.data(), window, table.size());
        WalkConstant(Access::eSwitched, std::get<TableRow<u8>>(GetTableKernels().map), table.data(), dst, src);
    } else {
        WalkConstant(Access::eSwitched, row, window, dst, src);
    }
}

void KrLConvertAOI::Execute(const KrAOI16* src, KrAOI8* dst, ConversionMode mode) { Convert(src, dst, mode); }
void KrLConvertAOI::Execute(const KrAOI32* src, KrAOI8* dst, ConversionMode mode) { Convert(src, dst, mode); }
void KrLConvertAOI::Execute(const KrAOI32Float* src, KrAOI8* dst, ConversionMode mode) { Convert(src, dst, mode); }
void KrLConvertAOI::Execute(const KrAOI64Double* src, KrAOI8* dst, ConversionMode mode) { Convert(src, dst, mode); }
void KrLConvertAOI::Execute(const KrAOI8* src, KrAOI8* dst, ConversionMode mode) { Convert(src, dst, mode); }

void KrLConvertAOI::Execute(const KrAOI* src, KrAOI* dst, ConversionMode mode) {
    kConvertToBytes(*this, src, dst, mode);
}

std::vector<OperationInfo> ConvertOperations() { return ListOperations(OperationsOf<KrLConvertAOI>::all); }

}  // namespace KrN
