#pragma once

#include <array>

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// The odd ones are the complements of the even ones.
enum Logic { eAnd, eNand, eOr, eNor, eXor, eXNor, kLogicCount };

// Operands are extended with zeros, or a mask cut, to the destination's width, in which complements are formed.
struct LogicKernels {
    std::array<IntegerPairs, kLogicCount> pairs;
    std::array<std::tuple<ConstantRow<u8, u8, u16>, ConstantRow<u16, u8, u16>, ConstantRow<u16, u16, u16>>, kLogicCount>
        masks;
};

const LogicKernels& GetLogicKernels();

}  // namespace KrN::kernels
