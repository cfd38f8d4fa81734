#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// pixel = rounded((1 - alpha) * pixel + alpha * neighbour)
template <class T>
using BlendRow = void (*)(T* pixels, const T* neighbours, double alpha, std::size_t count);

struct RecursiveKernels {
    std::tuple<BlendRow<u8>, BlendRow<u16>, BlendRow<i32>, BlendRow<float>> blend;
};

const RecursiveKernels& GetRecursiveKernels();

}  // namespace KrN::kernels
