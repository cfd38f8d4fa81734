// Least and greatest values of windows, once per CPU target.
#if defined(VORIP_EXTREMES_INL_H) == defined(HWY_TARGET_TOGGLE)
#  ifdef VORIP_EXTREMES_INL_H
#    undef VORIP_EXTREMES_INL_H
#  else
#    define VORIP_EXTREMES_INL_H
#  endif

#  include "ipbase/kernels/widesums-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// Floats are compared, as integers are: of NaN and signed zeros the first one stays. That is what the operations of x86
// do with these operands, and those of other CPUs do not.
struct Least {
    template <class T>
    static T Do(T a, T b) {
        return b < a ? b : a;
    }
#  if VORIP_VECTORS
    template <class V>
    static HWY_INLINE HWY_ATTR V Vector(V a, V b) {
        if constexpr (!HWY_ARCH_X86 && std::is_floating_point_v<hn::TFromV<V>>)
            return hn::IfThenElse(hn::Lt(b, a), b, a);
        else
            return hn::Min(b, a);
    }
#  endif
};
struct Greatest {
    template <class T>
    static T Do(T a, T b) {
        return a < b ? b : a;
    }
#  if VORIP_VECTORS
    template <class V>
    static HWY_INLINE HWY_ATTR V Vector(V a, V b) {
        if constexpr (!HWY_ARCH_X86 && std::is_floating_point_v<hn::TFromV<V>>)
            return hn::IfThenElse(hn::Lt(a, b), b, a);
        else
            return hn::Max(b, a);
    }
#  endif
};

#  if VORIP_VECTORS
// With a known number of taps their pointers stay in registers. That pays for the squares in use, and for two taps, of
// which all larger windows are made.
template <class Op, class T, std::size_t known>
HWY_ATTR bool ExtremeVectors(T* dst, const T* const* rows, std::size_t tapCount, std::size_t count) {
    const hn::ScalableTag<T> d;
    const std::size_t n = hn::Lanes(d);
    const T* few[known > 0 ? known : 1];
    for (std::size_t k = 0; k < known; ++k) few[k] = rows[k];
    const T* const* taps = known > 0 ? few : rows;
    if (known > 0) tapCount = known;
    return StrideInPairs(count, n, [&](auto many, std::size_t i) HWY_ATTR {
        hn::Vec<decltype(d)> best[decltype(many)::value];
        for (std::size_t v = 0; v < many; ++v) best[v] = hn::LoadU(d, taps[0] + i + v * n);
        for (std::size_t k = 1; k < tapCount; ++k)
            for (std::size_t v = 0; v < many; ++v) best[v] = Op::Vector(best[v], hn::LoadU(d, taps[k] + i + v * n));
        for (std::size_t v = 0; v < many; ++v) hn::StoreU(best[v], d, dst + i + v * n);
    });
}
#  endif

template <class Op, class T>
HWY_ATTR void ExtremeLoop(T* dst, const T* const* taps, std::size_t tapCount, std::size_t count) {
#  if VORIP_VECTORS
    const auto run = tapCount == 2   ? &ExtremeVectors<Op, T, 2>
                     : tapCount == 3 ? &ExtremeVectors<Op, T, 3>
                     : tapCount == 5 ? &ExtremeVectors<Op, T, 5>
                     : tapCount == 9 ? &ExtremeVectors<Op, T, 9>
                                     : &ExtremeVectors<Op, T, 0>;
    if (run(dst, taps, tapCount, count)) return;
#  endif
    for (std::size_t i = 0; i < count; ++i) {
        T best = taps[0][i];
        for (std::size_t k = 1; k < tapCount; ++k) best = Op::Do(best, taps[k][i]);
        dst[i] = best;
    }
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
