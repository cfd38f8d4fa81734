#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// Each of `count` sums grows by the next `width` source pixels, one after the other.
template <class S, class T>
using BlockSumRow = void (*)(S* sums, const T* src, int width, std::size_t count);

// dst[i] = src[i * step]
template <class T>
using PickRow = void (*)(T* dst, const T* src, int step, std::size_t count);

// What reduces images by whole numbers. Sums of 32 bits are for blocks that cannot overflow them.
struct ZoomKernels {
    std::tuple<BlockSumRow<std::uint32_t, u8>, BlockSumRow<std::int64_t, u8>, BlockSumRow<std::uint32_t, u16>,
               BlockSumRow<std::int64_t, u16>, BlockSumRow<std::int64_t, i32>, BlockSumRow<double, float>>
        sum;
    // dst[i] = sums[i] / pixels, integers truncated toward zero.
    std::tuple<ConstantRow<u8, std::uint32_t, int>, ConstantRow<u8, std::int64_t, int>,
               ConstantRow<u16, std::uint32_t, int>, ConstantRow<u16, std::int64_t, int>,
               ConstantRow<i32, std::int64_t, int>, ConstantRow<float, double, int>>
        mean;
    std::tuple<PickRow<u8>, PickRow<u16>, PickRow<i32>, PickRow<float>> pick;
};

const ZoomKernels& GetZoomKernels();

}  // namespace KrN::kernels
