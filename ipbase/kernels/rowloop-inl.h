// The loops that turn an operation on single pixels into row functions, once per CPU target.
// An operation is a struct with a static `Do<D>(pixels...)`.
#if defined(VORIP_ROW_LOOP_INL_H) == defined(HWY_TARGET_TOGGLE)
#  ifdef VORIP_ROW_LOOP_INL_H
#    undef VORIP_ROW_LOOP_INL_H
#  else
#    define VORIP_ROW_LOOP_INL_H
#  endif

#  include <hwy/highway.h>

#  include "ipbase/kernels/rowtypes.h"

// Identical or disjoint rows only reach a loop, so no pixel depends on another one.
#  ifndef VORIP_INDEPENDENT_LOOP
#    if defined(__clang__)
#      define VORIP_INDEPENDENT_LOOP _Pragma("clang loop vectorize(assume_safety)")
#    elif defined(__GNUC__)
#      define VORIP_INDEPENDENT_LOOP _Pragma("GCC ivdep")
#    else
#      define VORIP_INDEPENDENT_LOOP __pragma(loop(ivdep))
#    endif
#  endif

// Without vectors of a known size the plain loops do everything.
#  undef VORIP_VECTORS
#  define VORIP_VECTORS (HWY_TARGET != HWY_SCALAR && !HWY_HAVE_SCALABLE)

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

template <class Op, class D, class A, class B>
HWY_ATTR void PairLoop(D* dst, const A* a, const B* b, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = Op::template Do<D>(a[i], b[i]);
}

template <class Op, class D, class A, class K>
HWY_ATTR void ConstantLoop(D* dst, const A* a, K k, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = Op::template Do<D>(a[i], k);
}

template <class Op, class D, class A>
HWY_ATTR void UnaryLoop(D* dst, const A* a, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = Op::template Do<D>(a[i]);
}

template <class Op, class D, class A, class B>
void Assign(PairRow<D, A, B>& row) {
    row = &PairLoop<Op, D, A, B>;
}
template <class Op, class D, class A, class K>
void Assign(ConstantRow<D, A, K>& row) {
    row = &ConstantLoop<Op, D, A, K>;
}
template <class Op, class D, class A>
void Assign(UnaryRow<D, A>& row) {
    row = &UnaryLoop<Op, D, A>;
}

// The same operation for every combination of a tuple.
template <class Op, class... Rows>
void Fill(std::tuple<Rows...>& rows) {
    (Assign<Op>(std::get<Rows>(rows)), ...);
}

}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
