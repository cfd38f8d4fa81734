#include "ipbase/kernels/shading.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/shading.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// Holds the product of two values of T.
template <class T>
using Product = std::conditional_t<sizeof(T) == 1, u16, std::uint32_t>;

template <class T>
HWY_ATTR void StretchLoop(T* dst, const SamplePair* pairs, std::uint32_t step, std::size_t count) {
    const auto end = static_cast<std::uint32_t>(count);
    VORIP_INDEPENDENT_LOOP
    for (std::uint32_t x = 0; x < end; ++x) {
        const std::uint32_t p = x * step, f = p & 255, pair = pairs[p >> 8];
        dst[x] = static_cast<T>(((pair & 65535) * (255 - f) + (pair >> 16) * f) >> 8);
    }
}

template <class T>
HWY_ATTR void BlendLoop(T* dst, const T* a, const T* b, std::uint32_t f, std::size_t count) {
    using P = Product<T>;
    const auto toB = static_cast<P>(f), toA = static_cast<P>(255 - f);
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const auto sum = static_cast<P>(static_cast<P>(a[i] * toA) + static_cast<P>(b[i] * toB));
        dst[i] = static_cast<T>(sum >> 8);
    }
}

// Whole numbers: the rounded quotients in double precision have the same order, and their greatest is that of the pair
// that is kept. Few blocks of a picture hold one that is greater than all before.
template <class T>
HWY_ATTR void GreatestLoop(const T* a, const T* b, std::size_t count, Quotient& most) {
    using P = Product<T>;
    constexpr std::size_t block = 256;
    for (std::size_t start = 0; start < count; start += block) {
        const std::size_t end = std::min(count, start + block);
        const auto mostA = static_cast<T>(most.a), mostB = static_cast<T>(most.b);
        T greater = 0;
        for (std::size_t i = start; i < end; ++i) {
            const auto left = static_cast<P>(P{a[i]} * mostB), right = static_cast<P>(P{b[i]} * mostA);
            greater |= static_cast<T>(left > right && b[i] != 0 ? 1 : 0);
        }
        if (greater == 0) continue;
        for (std::size_t i = start; i < end; ++i)
            if (b[i] != 0 && std::uint32_t{a[i]} * most.b > std::uint32_t{b[i]} * most.a) most = {a[i], b[i]};
    }
}

template <class T>
HWY_ATTR void DivideLoop(T* dst, const T* a, const T* b, double scale, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const double divisor = b[i] == 0 ? HUGE_VAL : static_cast<double>(b[i]);
        dst[i] = static_cast<T>(static_cast<i32>(scale * (static_cast<double>(a[i]) / divisor) + 0.5));
    }
}

template <class T>
void Fill(ShadeCorrKernels& all) {
    std::get<StretchRow<T>>(all.stretch) = &StretchLoop<T>;
    std::get<BlendPairRow<T>>(all.blend) = &BlendLoop<T>;
    std::get<GreatestQuotientRow<T>>(all.greatest) = &GreatestLoop<T>;
    std::get<DivideRow<T>>(all.divide) = &DivideLoop<T>;
}

const ShadeCorrKernels& Kernels() {
    static const ShadeCorrKernels table = [] {
        ShadeCorrKernels all;
        Fill<u8>(all);
        Fill<u16>(all);
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
const ShadeCorrKernels& GetShadeCorrKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
