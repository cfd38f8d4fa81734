#include "ipbase/kernels/histogram.h"

#include <cstring>

#include "ipbase/base/mask.h"

// Counting does not vectorise, so that one build serves all CPU targets.
namespace KrN::kernels {

namespace {

template <bool masked, class T>
std::uint32_t Element(const T* a, const u8* mask, std::size_t i, std::uint32_t steps) {
    const std::uint32_t bin = sizeof(T) == 1 ? a[i] : steps * a[i] >> 16;
    if (!masked) return bin + 1;
    return (bin + 1) & (0u - (Admits(mask[i])));
}

template <bool masked, class T>
void CountLoop(const T* a, const u8* mask, std::size_t samples, std::size_t stride, const CountLanes& counts) {
    const auto [lane0, lane1] = counts.lanes;
    const std::uint32_t steps = counts.steps;
    std::size_t i = 0;
    for (; samples >= 4; samples -= 4, i += 4 * stride) {
        const std::uint32_t e0 = Element<masked>(a, mask, i, steps);
        const std::uint32_t e1 = Element<masked>(a, mask, i + stride, steps);
        const std::uint32_t e2 = Element<masked>(a, mask, i + 2 * stride, steps);
        const std::uint32_t e3 = Element<masked>(a, mask, i + 3 * stride, steps);
        ++lane0[e0];
        ++lane1[e1];
        ++lane0[e2];
        ++lane1[e3];
    }
    for (; samples > 0; --samples, i += stride) ++lane0[Element<masked>(a, mask, i, steps)];
}

// Eight adjacent bytes with one load; their order does not matter.
void CountBytes(const u8* a, std::size_t samples, const CountLanes& counts) {
    std::uint32_t* const even = counts.lanes[0] + 1;
    std::uint32_t* const odd = counts.lanes[1] + 1;
    for (; samples >= 8; samples -= 8, a += 8) {
        std::uint64_t bytes;
        std::memcpy(&bytes, a, sizeof bytes);
        ++even[bytes & 255];
        ++odd[bytes >> 8 & 255];
        ++even[bytes >> 16 & 255];
        ++odd[bytes >> 24 & 255];
        ++even[bytes >> 32 & 255];
        ++odd[bytes >> 40 & 255];
        ++even[bytes >> 48 & 255];
        ++odd[bytes >> 56];
    }
    CountLoop<false>(a, nullptr, samples, 1, counts);
}

}  // namespace

template <class T>
void CountRow(const T* a, const u8* mask, std::size_t samples, std::size_t stride, const CountLanes& counts) {
    if (mask) return CountLoop<true>(a, mask, samples, stride, counts);
    if constexpr (sizeof(T) == 1)
        if (stride == 1) return CountBytes(a, samples, counts);
    CountLoop<false>(a, mask, samples, stride, counts);
}

template void CountRow(const u8*, const u8*, std::size_t, std::size_t, const CountLanes&);
template void CountRow(const u16*, const u8*, std::size_t, std::size_t, const CountLanes&);

}  // namespace KrN::kernels
