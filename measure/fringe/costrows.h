#pragma once

#include <cstddef>
#include <cstdint>

namespace measure::rows {

// The inner loops of unwrapping costs, over `count` pixels of a row.

// The wrapped differences between the pixels of a row and their neighbours: to the right and, in the next row, below,
// below right and below left. All can be read at -1 and at `count`.
struct Differences {
    float *right, *below, *belowRight, *belowLeft;
};

// From the phases of a row and the next one, NaN where they do not count, which can be read at -1 and at `count`. The
// difference to the right is found for -1, too.
void Differ(const float* phase, const float* phaseBelow, const Differences& differences, std::size_t count);

constexpr float kLargestBend = 10.0f;

// The second differences over the four directions through each pixel are those of a row's differences and of the
// previous row's. bend = the root of the sum of their squares; those that are NaN count as the mean of the others. At
// most kLargestBend, which is also where there is none.
void Bend(const Differences& previous, const Differences& own, float* bend, std::size_t count);

// 255 where the largest second difference is 0, 0 where it is pi or more or where there is none.
void Straightness(const Differences& previous, const Differences& own, std::uint8_t* quality, std::size_t count);

// The largest and the least of three values: values[x - 1], values[x], values[x + 1], which can all be read.
void ExtremesOfThree(const float* values, float* largest, float* least, std::size_t count);

struct ExtremeRows {
    const float *largest[3], *least[3];
};
// change = (largest + 0.01) / (least + 0.01) of three rows of extremes; 1 where that is NaN.
void ContrastChange(const ExtremeRows& rows, float* change, std::size_t count);

// bend *= scale times the sum of three rows where that is below 1.
void ReduceBend(const float* above, const float* own, const float* below, float scale, float* bend, std::size_t count);

// cost += 3 logarithm, at excluded pixels too.
void AddContrastCost(const float* logarithm, float* cost, std::size_t count);

}  // namespace measure::rows
