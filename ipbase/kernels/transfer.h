#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// What becomes of the destination's old bits when bits are transferred: with t = (source & mask) shifted by `shift`
// (to the left when positive), dst = (dst & (keep | (t & join))) | (t & set).
struct BitTransfer {
    std::uint32_t mask;
    std::int32_t shift;
    std::uint32_t keep, join, set;
};

template <class D, class A>
using BitRow = void (*)(D* dst, const A* src, const D* old, BitTransfer bits, std::size_t count);

template <class T>
using FillRow = void (*)(T* dst, T value, std::size_t count);

struct TransferKernels {
    // The value itself, or its low byte.
    std::tuple<UnaryRow<u16, u8>, UnaryRow<i32, u16>, UnaryRow<u8, u16>, UnaryRow<float, u8>, UnaryRow<double, u8>,
               UnaryRow<float, u16>>
        convert;
    // a << 8, or the high byte.
    std::tuple<UnaryRow<u16, u8>, UnaryRow<i32, u16>, UnaryRow<u8, u16>> high;
    // Truncated toward zero to 64 bits, of which the low bits are kept.
    std::tuple<UnaryRow<u8, float>, UnaryRow<u16, float>> truncate;
    std::tuple<FillRow<u8>, FillRow<u16>, FillRow<i32>, FillRow<float>, FillRow<double>> fill;
    std::tuple<BitRow<u8, u8>, BitRow<u8, u16>, BitRow<u16, u8>, BitRow<u16, u16>> bits;
};

const TransferKernels& GetTransferKernels();

}  // namespace KrN::kernels
