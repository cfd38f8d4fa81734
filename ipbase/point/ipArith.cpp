#include "ipbase/ipArith.h"

#include "ipbase/base/rowwalk.h"
#include "ipbase/base/scalar.h"
#include "ipbase/kernels/arith.h"

namespace KrN {

using namespace kernels;

namespace {

// The row of a pair operation: from the integer table, or from the one of the floating-point combinations.
template <class D, class A, class B, class Float>
PairRow<D, A, B> PairOf(const IntegerPairs& integers, const Float& floats) {
    if constexpr (std::is_integral_v<D>)
        return std::get<PairRow<D, A, B>>(integers);
    else
        return std::get<PairRow<D, A, B>>(floats);
}

// The row of an integer combination with a constant.
template <class A, class D>
void WalkInteger(const IntegerConstants<u16>& rows, const KrTAOI<A>* a, int k, KrTAOI<D>* dst) {
    WalkConstant(Access::eTyped, std::get<ConstantRow<D, A, u16>>(rows), static_cast<u16>(k), dst, a);
}

// A constant of the modulo forms, reduced to 8 bits when both images are 8-bit, else to 16 bits.
template <class A, class D>
int ModuloConstant(double c) {
    return static_cast<int>(RoundModulo(c) & (sizeof(A) + sizeof(D) == 2 ? 0xFFu : 0xFFFFu));
}

// a + k with a rounded constant of either sign, clipped to the destination.
template <class A, class D>
void WalkClipped(const KrTAOI<A>* a, int k, KrTAOI<D>* dst) {
    const ArithKernels& rows = GetArithKernels();
    const int largest = std::max<int>(std::numeric_limits<A>::max(), std::numeric_limits<D>::max());
    WalkInteger(k < 0 ? rows.subClipConstant : rows.addClipConstant, a, std::min(k < 0 ? -k : k, largest), dst);
}

}  // namespace

template <class A, class B, class D>
void KrIpAdd::Sum(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
    const ArithKernels& rows = GetArithKernels();
    WalkRows(Access::eTyped, PairOf<D, A, B>(rows.addClip, rows.addFloat), dst, a, b);
}

template <class A, class D>
void KrIpAdd::Sum(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
    if constexpr (std::is_integral_v<D>)
        WalkClipped(a, RoundClipped(c), dst);
    else
        WalkConstant(Access::eTyped, GetArithKernels().addConstantFloat, c, dst, a);
}

template <class A, class B, class D>
void KrIpAddMod::SumMod(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
    WalkRows(Access::eTyped, std::get<PairRow<D, A, B>>(GetArithKernels().addModulo), dst, a, b);
}

template <class A, class D>
void KrIpAddMod::SumMod(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
    const int k = ModuloConstant<A, D>(c);
    if (k != 0) WalkInteger(GetArithKernels().addModuloConstant, a, k, dst);
}

template <class A, class B, class D>
void KrIpAddModDiv2::Mean(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
    WalkRows(Access::eTyped, std::get<PairRow<D, A, B>>(GetArithKernels().mean), dst, a, b);
}

template <class A, class B, class D>
void KrIpSub::Sub(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
    const ArithKernels& rows = GetArithKernels();
    WalkRows(Access::eTyped, PairOf<D, A, B>(rows.subClip, rows.subFloat), dst, a, b);
}

template <class A, class D>
void KrIpSub::Sub(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
    if constexpr (std::is_integral_v<D>)
        WalkClipped(a, -RoundClipped(c), dst);
    else
        WalkConstant(Access::eTyped, GetArithKernels().subConstantFloat, c, dst, a);
}

template <class A, class B, class D>
void KrIpSubMod::SubMod(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
    const ArithKernels& rows = GetArithKernels();
    WalkRows(Access::eTyped, PairOf<D, A, B>(rows.subModulo, rows.subFloat), dst, a, b);
}

template <class A, class D>
void KrIpSubMod::SubMod(const KrTAOI<A>* a, double c, KrTAOI<D>* dst) {
    if constexpr (std::is_integral_v<D>)
        WalkInteger(GetArithKernels().subModuloConstant, a, ModuloConstant<A, D>(c), dst);
    else
        WalkConstant(Access::eTyped, GetArithKernels().subConstantDouble, c, dst, a);
}

template <class A, class B, class D>
void KrIpSubShiftCenter::SubShiftCenter(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
    if (CommonRegion(dst, a, b).cx == 0) return;
    const bool sum = sizeof(D) == 2 && HaveRowPointers(dst, a, b);
    const ArithKernels& rows = GetArithKernels();
    WalkRows(Access::eTyped, std::get<PairRow<D, A, B>>(sum ? rows.halfSumCentred : rows.halfDiffCentred), dst, a, b);
}

template <class A, class B, class D>
void KrIpAbsDiff::AbsDiff(const KrTAOI<A>* a, const KrTAOI<B>* b, KrTAOI<D>* dst) {
    if constexpr (std::is_integral_v<D>)
        WalkRows(Access::eTyped, std::get<PairRow<D, A, B>>(GetArithKernels().absDiff), dst, a, b);
    else
        WalkRows(Access::eTyped, GetArithKernels().absDiffFloat, dst, a, b);
}

// The supported combinations.
// clang-format off
#define PAIR(kernel, A, B, D) \
    template VORIP_API void kernel(const KrTAOI<A>*, const KrTAOI<B>*, KrTAOI<D>*);
#define INTEGER_PAIRS(kernel) \
    PAIR(kernel, u8, u8, u8) PAIR(kernel, u8, u8, u16) PAIR(kernel, u8, u16, u16) PAIR(kernel, u16, u8, u16) \
    PAIR(kernel, u16, u16, u16)
#define CONSTANT(kernel, A, D) \
    template VORIP_API void kernel(const KrTAOI<A>*, double, KrTAOI<D>*);
#define INTEGER_CONSTANTS(kernel) \
    CONSTANT(kernel, u8, u8) CONSTANT(kernel, u8, u16) CONSTANT(kernel, u16, u8) CONSTANT(kernel, u16, u16)

INTEGER_PAIRS(KrIpAdd::Sum)
PAIR(KrIpAdd::Sum, u8, float, float)
PAIR(KrIpAdd::Sum, u16, float, float)
PAIR(KrIpAdd::Sum, float, float, float)
PAIR(KrIpAdd::Sum, double, double, double)
INTEGER_CONSTANTS(KrIpAdd::Sum)
CONSTANT(KrIpAdd::Sum, float, float)

INTEGER_PAIRS(KrIpAddMod::SumMod)
INTEGER_CONSTANTS(KrIpAddMod::SumMod)

INTEGER_PAIRS(KrIpAddModDiv2::Mean)

INTEGER_PAIRS(KrIpSub::Sub)
PAIR(KrIpSub::Sub, float, u8, float)
PAIR(KrIpSub::Sub, float, u16, float)
PAIR(KrIpSub::Sub, float, float, float)
PAIR(KrIpSub::Sub, double, double, double)
INTEGER_CONSTANTS(KrIpSub::Sub)
CONSTANT(KrIpSub::Sub, float, float)

INTEGER_PAIRS(KrIpSubMod::SubMod)
PAIR(KrIpSubMod::SubMod, double, double, double)
INTEGER_CONSTANTS(KrIpSubMod::SubMod)
CONSTANT(KrIpSubMod::SubMod, double, double)

INTEGER_PAIRS(KrIpSubShiftCenter::SubShiftCenter)

INTEGER_PAIRS(KrIpAbsDiff::AbsDiff)
PAIR(KrIpAbsDiff::AbsDiff, float, float, float)
// clang-format on

}  // namespace KrN
