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

template <>
struct OperationsOf<KrLMinMax> {
    static constexpr const wchar_t* kFile = L"C\\ipLMinMax";
    using T = KrLMinMax;
    using Pair = Operation<void(T&, const KrAOI*, const KrAOI*, KrAOI*)>;
    using Constant = Operation<void(T&, const KrAOI*, double, KrAOI*)>;

    static constexpr std::tuple all{Pair::Of<&T::Min888SW, &T::Min161616SW>(kFile, 52, L"Min( %s, %s, %s )"),
                                    Pair::Of<&T::Max888SW, &T::Max161616SW>(kFile, 249, L"Max( %s, %s, %s )"),
                                    Constant::Of<&T::Min8d8SW, &T::Min16d16SW>(kFile, 438, L"Min( %s, %f, %s )"),
                                    Constant::Of<&T::Max8d8SW, &T::Max16d16SW>(kFile, 592, L"Max( %s, %f, %s )")};
};

namespace {

const auto& [kMin, kMax, kMinConstant, kMaxConstant] = OperationsOf<KrLMinMax>::all;

}  // namespace

void KrLMinMax::Min(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kMin(*this, a, b, dst); }
void KrLMinMax::Min(const KrAOI* a, double c, KrAOI* dst) { kMinConstant(*this, a, c, dst); }
void KrLMinMax::Max(const KrAOI* a, const KrAOI* b, KrAOI* dst) { kMax(*this, a, b, dst); }
void KrLMinMax::Max(const KrAOI* a, double c, KrAOI* dst) { kMaxConstant(*this, a, c, dst); }

namespace {

template <class T>
void Least(const KrTAOI<T>* a, const KrTAOI<T>* b, KrTAOI<T>* dst) {
    WalkRows(Access::eSwitched, std::get<PairRow<T, T, T>>(GetMinMaxKernels().min), dst, a, b);
}
template <class T>
void Greatest(const KrTAOI<T>* a, const KrTAOI<T>* b, KrTAOI<T>* dst) {
    WalkRows(Access::eSwitched, std::get<PairRow<T, T, T>>(GetMinMaxKernels().max), dst, a, b);
}

// A constant beyond the pixels' range has the same effect as the end of the range.
template <class T>
T Clamped(double c) {
    return static_cast<T>(std::clamp<std::int64_t>(Truncate(c + 0.5), 0, std::numeric_limits<T>::max()));
}
template <class T>
void Least(const KrTAOI<T>* a, double c, KrTAOI<T>* dst) {
    WalkConstant(Access::eSwitched, std::get<ConstantRow<T, T, T>>(GetMinMaxKernels().minConstant), Clamped<T>(c), dst,
                 a);
}
template <class T>
void Greatest(const KrTAOI<T>* a, double c, KrTAOI<T>* dst) {
    WalkConstant(Access::eSwitched, std::get<ConstantRow<T, T, T>>(GetMinMaxKernels().maxConstant), Clamped<T>(c), dst,
                 a);
}

}  // namespace

void KrLMinMax::Min888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst) { Least(a, b, dst); }
void KrLMinMax::Min161616SW(const KrAOI16* a, const KrAOI16* b, KrAOI16* dst) { Least(a, b, dst); }
void KrLMinMax::Min8d8SW(const KrAOI8* a, double c, KrAOI8* dst) { Least(a, c, dst); }
void KrLMinMax::Min16d16SW(const KrAOI16* a, double c, KrAOI16* dst) { Least(a, c, dst); }
void KrLMinMax::Max888SW(const KrAOI8* a, const KrAOI8* b, KrAOI8* dst) { Greatest(a, b, dst); }
void KrLMinMax::Max161616SW(const KrAOI16* a, const KrAOI16* b, KrAOI16* dst) { Greatest(a, b, dst); }
void KrLMinMax::Max8d8SW(const KrAOI8* a, double c, KrAOI8* dst) { Greatest(a, c, dst); }
void KrLMinMax::Max16d16SW(const KrAOI16* a, double c, KrAOI16* dst) { Greatest(a, c, dst); }

std::vector<OperationInfo> MinMaxOperations() { return ListOperations(OperationsOf<KrLMinMax>::all); }

}  // namespace KrN
