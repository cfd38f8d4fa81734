#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

struct ArithKernels {
    IntegerPairs addModulo, subModulo, addClip, subClip, mean, absDiff;
    std::tuple<PairRow<float, u8, float>, PairRow<float, u16, float>, PairRow<float, float, float>,
               PairRow<double, double, double>>
        addFloat;
    std::tuple<PairRow<float, float, u8>, PairRow<float, float, u16>, PairRow<float, float, float>,
               PairRow<double, double, double>>
        subFloat;
    PairRow<float, float, float> absDiffFloat;

    // (a - b) / 2 truncated toward zero, and (a + b) / 2, each plus half of the destination's range.
    IntegerPairs halfDiffCentred, halfSumCentred;
    PairRow<u8, u8, u8> diffCentred;  // a - b + 128 modulo 256

    // Constants are reduced to 16 bits (modulo) or brought into 0..65535 (clip).
    IntegerConstants<u16> addModuloConstant, subModuloConstant, addClipConstant, subClipConstant;
    ConstantRow<float, float, double> addConstantFloat, subConstantFloat;
    ConstantRow<double, double, double> subConstantDouble;
};

const ArithKernels& GetArithKernels();

}  // namespace KrN::kernels
