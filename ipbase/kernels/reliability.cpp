#include "ipbase/kernels/reliability.h"

#include <cstring>

#include "imagemodel/krvalues.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/reliability.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {

HWY_INLINE float Wrap(float step) {
    constexpr auto pi = static_cast<float>(KrMath::Pi);
    constexpr auto period = static_cast<float>(KrMath::TwoPi);
    const float down = step > pi ? step - period : step;
    return step < -pi ? step + period : down;
}

HWY_INLINE float SquaredSecondDifference(float before, float centre, float after) {
    const float difference = Wrap(before - centre) - Wrap(centre - after);
    return difference * difference;
}

// 15 random bits above the greatest reliability; all of these values are exact in single precision.
HWY_INLINE float Unreliable(std::uint32_t index) {
    index = (index ^ (index >> 16)) * 0x85EBCA6Bu;
    index = (index ^ (index >> 13)) * 0xC2B2AE35u;
    return 9999999.0f + static_cast<float>(static_cast<std::int32_t>(index >> 17));
}

HWY_ATTR void UnreliableLoop(float* HWY_RESTRICT dst, std::uint32_t firstIndex, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) dst[i] = Unreliable(firstIndex + static_cast<std::uint32_t>(i));
}

HWY_ATTR void ReliabilityLoop(float* HWY_RESTRICT dst, const Rows3<float>& values, const Rows3<u8>& masks,
                              std::uint32_t firstIndex, std::size_t count) {
    UnreliableLoop(dst, firstIndex, count);
    const float *a = values.above, *c = values.row, *b = values.below;
    const u8 *ma = masks.above, *mc = masks.row, *mb = masks.below;
    for (std::size_t i = 1; i + 1 < count; ++i) {
        const float sum =
            SquaredSecondDifference(c[i - 1], c[i], c[i + 1]) + SquaredSecondDifference(a[i], c[i], b[i]) +
            SquaredSecondDifference(a[i - 1], c[i], b[i + 1]) + SquaredSecondDifference(a[i + 1], c[i], b[i - 1]);
        const unsigned all =
            ma[i - 1] & ma[i] & ma[i + 1] & mc[i - 1] & mc[i] & mc[i + 1] & mb[i - 1] & mb[i] & mb[i + 1];
        dst[i] = all == kUsable ? sum : dst[i];
    }
}

HWY_ATTR void EdgeKeyLoop(std::uint32_t* HWY_RESTRICT dst, const float* a, const float* b, const u8* maskA,
                          const u8* maskB, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const float sum = a[i] + b[i];
        std::uint32_t bits;
        std::memcpy(&bits, &sum, sizeof bits);
        dst[i] = (maskA[i] & maskB[i]) == kUsable ? bits & 0x7FFFFFFFu : kNoEdge;
    }
}

const ReliabilityKernels& Kernels() {
    static const ReliabilityKernels table{&ReliabilityLoop, &UnreliableLoop, &EdgeKeyLoop};
    return table;
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::kernels {
HWY_EXPORT(Kernels);
const ReliabilityKernels& GetReliabilityKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
