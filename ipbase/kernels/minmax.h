#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// The span + 1 values from `first` on, counted modulo the range of T, become `value`; the others stay.
template <class T>
struct Band {
    T first, span, value;
};

struct MinMaxKernels {
    std::tuple<PairRow<u8, u8, u8>, PairRow<u16, u16, u16>> min, max;
    std::tuple<ConstantRow<u8, u8, u8>, ConstantRow<u16, u16, u16>> minConstant, maxConstant;
    std::tuple<ConstantRow<u8, u8, Band<u8>>, ConstantRow<u16, u16, Band<u16>>> replace;
};

const MinMaxKernels& GetMinMaxKernels();

}  // namespace KrN::kernels
