#include "ipbase/kernels/minmax.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/minmax.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

struct MinOp {
    template <class D>
    static HWY_INLINE D Do(D a, D b) {
        return a < b ? a : b;
    }
};
struct MaxOp {
    template <class D>
    static HWY_INLINE D Do(D a, D b) {
        return a < b ? b : a;
    }
};
struct Replace {
    template <class D>
    static HWY_INLINE D Do(D a, Band<D> band) {
        return static_cast<D>(a - band.first) <= band.span ? band.value : a;
    }
};

const MinMaxKernels& Kernels() {
    static const MinMaxKernels table = [] {
        MinMaxKernels all;
        Fill<MinOp>(all.min);
        Fill<MaxOp>(all.max);
        Fill<MinOp>(all.minConstant);
        Fill<MaxOp>(all.maxConstant);
        Fill<Replace>(all.replace);
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
const MinMaxKernels& GetMinMaxKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
