#pragma once

#include <cstddef>
#include <cstdint>

namespace measure::rows {

// The inner loops of unwrapping costs, over `count` pixels of a row.

// Wrapped phases of a row and of its neighbours above and below, NaN where they do not count. All can be read at -1 and
// at `count`.
struct PhaseRows {
    const float *above, *own, *below;
};

constexpr float kLargestBend = 10.0F;

// The root of the sum of the squared second differences over the four directions through each pixel; those that are NaN
// count as the mean of the others. At most kLargestBend, which is also where there is none.
void Bend(const PhaseRows& rows, float* bend, std::size_t count);

// 255 where the largest second difference is 0, 0 where it is pi or more or where there is none.
void Straightness(const PhaseRows& rows, std::uint8_t* quality, std::size_t count);

// The largest and the least of three values: values[x - 1], values[x], values[x + 1], which can all be read.
void ExtremesOfThree(const float* values, float* largest, float* least, std::size_t count);

struct ExtremeRows {
    const float *largest[3], *least[3];
};
// change = (largest + 0.01) / (least + 0.01) of three rows of extremes; 1 where that is NaN.
void ContrastChange(const ExtremeRows& rows, float* change, std::size_t count);

// cost += 3 logarithm, at excluded pixels too.
void AddContrastCost(const float* logarithm, float* cost, std::size_t count);

}  // namespace measure::rows
