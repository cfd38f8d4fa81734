#include "ipbase/kernels/logic.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/logic.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

template <int logic>
struct Bits {
    template <class D, class B>
    static HWY_INLINE D Do(D a, B operand) {
        const D b = static_cast<D>(operand);
        constexpr int direct = logic & ~1;
        const D bits = static_cast<D>(direct == eAnd ? a & b : direct == eOr ? a | b : a ^ b);
        return static_cast<D>(logic == direct ? bits : ~bits);
    }
};

template <int... logic>
void FillAll(LogicKernels& all, std::integer_sequence<int, logic...>) {
    (Fill<Bits<logic>>(all.pairs[logic]), ...);
    (Fill<Bits<logic>>(all.masks[logic]), ...);
}

const LogicKernels& Kernels() {
    static const LogicKernels table = [] {
        LogicKernels all;
        FillAll(all, std::make_integer_sequence<int, kLogicCount>());
        return all;
    }();
    return table;
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::kernels {
HWY_EXPORT(Kernels);
const LogicKernels& GetLogicKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
