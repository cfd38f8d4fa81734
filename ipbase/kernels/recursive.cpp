#include "ipbase/kernels/recursive.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "ipbase/base/window.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/recursive.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/round-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// Pixels wait for their neighbours in the row before, never for those beside them: the loop runs across the lines that
// are smoothed.
template <class T>
HWY_ATTR void BlendLoop(T* pixels, const T* neighbours, double alpha, std::size_t count) {
    const double rest = 1.0 - alpha;
    for (std::size_t start = 0; start < count; start += kBlock) {
        const std::size_t n = std::min(kBlock, count - start);
        T* out = pixels + start;
        double values[kBlock];
        for (std::size_t i = 0; i < n; ++i) values[i] = rest * out[i] + alpha * neighbours[start + i];
        if constexpr (std::is_floating_point_v<T>)
            for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<T>(values[i]);
        else
            RoundBlock(out, values, n);
    }
}

template <class... T>
void FillBlends(std::tuple<BlendRow<T>...>& rows) {
    ((std::get<BlendRow<T>>(rows) = &BlendLoop<T>), ...);
}

const RecursiveKernels& Kernels() {
    static const RecursiveKernels table = [] {
        RecursiveKernels all;
        FillBlends(all.blend);
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
const RecursiveKernels& GetRecursiveKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
