#include "ipbase/ipLMinMax.h"

#include "ipbase/base/rowwalk.h"
#include "ipbase/base/scalar.h"
#include "ipbase/kernels/minmax.h"
#include "ipbase/point/operations.h"

namespace KrN {

using namespace kernels;

KrLMinMax::KrLMinMax() = default;
KrLMinMax::KrLMinMax(const KrLMinMax&) = default;
KrLMinMax& KrLMinMax::operator=(const KrLMinMax&) = default;
KrLMinMax::~KrLMinMax() = default;

struct KrLMinMax::Tables {
    static constexpr const wchar_t* kFile = L"C\\ipLMinMax";
    using T = KrLMinMax;
    using Pair = void(T&, const KrAOI*, const KrAOI*, KrAOI*);
    using Constant = void(T&, const KrAOI*, double, KrAOI*);

    static constexpr Operation<Pair> min{kFile, 52, L"Min( %s, %s, %s )",
                                         kRows<Pair, KernelCall<&T::Min888SW>, KernelCall<&T::Min161616SW>>};
    static constexpr Operation<Pair> max{kFile, 249, L"Max( %s, %s, %s )",
                                         kRows<Pair, KernelCall<&T::Max888SW>, KernelCall<&T::Max161616SW>>};
    static constexpr Operation<Constant> minConstant{
        kFile, 438, L"Min( %s, %f, %s )", kRows<Constant, KernelCall<&T::Min8d8SW>, KernelCall<&T::Min16d16SW>>};
    static constexpr Operation<Constant> maxConstant{
        kFile, 592, L"Max( %s, %f, %s )", kRows<Constant, KernelCall<&T::Max8d8SW>, KernelCall<&T::Max16d16SW>>};
};

void KrLMinMax::Min(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::min(*this, a, b, dst); }
void KrLMinMax::Min(const KrAOI* a, double c, KrAOI* dst) { Tables::minConstant(*this, a, c, dst); }
void KrLMinMax::Max(const KrAOI* a, const KrAOI* b, KrAOI* dst) { Tables::max(*this, a, b, dst); }
void KrLMinMax::Max(const KrAOI* a, double c, KrAOI* dst) { Tables::maxConstant(*this, a, c, dst); }

namespace {

template <class Rows, class T>
void WalkPair(const Rows& rows, const KrTAOI<T>* a, const KrTAOI<T>* b, KrTAOI<T>* dst) {
    WalkRows(Access::eSwitched, std::get<PairRow<T, T, T>>(rows), dst, a, b);
}

// A constant beyond the pixels' range has the same effect as the end of the range.
template <class Rows, class T>
void WalkConstant(const Rows& rows, const KrTAOI<T>* a, double c, KrTAOI<T>* dst) {
    const auto row = std::get<ConstantRow<T, T, T>>(rows);
    const auto k = static_cast<T>(std::clamp<std::int64_t>(Truncate(c + 0.5), 0, std::numeric_limits<T>::max()));
    WalkRows(
        Access::eSwitched, [=](T* d, const T* s, std::size_t n) { row(d, s, k, n); }, dst, a);
}

}  // namespace

// clang-format off
void KrLMinMax::Min888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst) { WalkPair(GetMinMaxKernels().min, a, b, dst); }
void KrLMinMax::Min161616SW(const KrAOI16* a, const KrAOI16* b, KrAOI16* dst) { WalkPair(GetMinMaxKernels().min, a, b, dst); }
void KrLMinMax::Min8d8SW(const KrAOI8* a, double c, KrAOI8* dst) { WalkConstant(GetMinMaxKernels().minConstant, a, c, dst); }
void KrLMinMax::Min16d16SW(const KrAOI16* a, double c, KrAOI16* dst) { WalkConstant(GetMinMaxKernels().minConstant, a, c, dst); }
void KrLMinMax::Max888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst) { WalkPair(GetMinMaxKernels().max, a, b, dst); }
void KrLMinMax::Max161616SW(const KrAOI16* a, const KrAOI16* b, KrAOI16* dst) { WalkPair(GetMinMaxKernels().max, a, b, dst); }
void KrLMinMax::Max8d8SW(const KrAOI8* a, double c, KrAOI8* dst) { WalkConstant(GetMinMaxKernels().maxConstant, a, c, dst); }
void KrLMinMax::Max16d16SW(const KrAOI16* a, double c, KrAOI16* dst) { WalkConstant(GetMinMaxKernels().maxConstant, a, c, dst); }
// clang-format on

std::vector<OperationInfo> MinMaxOperations() {
    using T = KrLMinMax::Tables;
    return {T::min.Info(), T::max.Info(), T::minConstant.Info(), T::maxConstant.Info()};
}

}  // namespace KrN
