#include "ipbase/kernels/average.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/average.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

struct AddSum {
    template <class D>
    static HWY_INLINE D Do(u16 a, D sum) {
        return static_cast<D>(static_cast<std::uint32_t>(sum) + a);
    }
};

// The quotient in double precision cannot round up to an integer: sum and divisor are too small for that.
struct DivideSum {
    template <class D>
    static HWY_INLINE D Do(i32 sum, std::uint32_t k) {
        const std::uint32_t raised = static_cast<std::uint32_t>(sum) + k / 2;
        return static_cast<D>(static_cast<i32>(static_cast<double>(raised) / k));
    }
};

const AverageKernels& Kernels() {
    static const AverageKernels table = [] {
        AverageKernels all;
        Assign<AddSum>(all.add);
        Assign<DivideSum>(all.divide);
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
const AverageKernels& GetAverageKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
