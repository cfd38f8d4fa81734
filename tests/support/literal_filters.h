#pragma once

#include <cstdint>
#include <functional>
#include <vector>

// Plain, slow filters, one sample after the other.
namespace test {

// Samples of a line, in place. `first` is the offset of the window's first sample from the pixel (-K/2 for most).
template <class T>
void LiteralWeighted(std::vector<T>& line, const std::vector<std::int32_t>& weights, double scale, int first);
// Over samples whose mask is below 64, with the mask's index wrapping at the left end of the line.
template <class T>
void LiteralMasked(std::vector<T>& line, const std::vector<std::int32_t>& weights,
                   const std::vector<std::uint8_t>& mask);
// The sample of rank 1..taps in the sorted window.
template <class T>
void LiteralRank(std::vector<T>& line, int taps, int rank);
template <class T>
void LiteralRecursive(std::vector<T>& line, double alpha);
// Edges of a foreground: `reach` samples next to each become 0 on its foreground side, or the foreground on the other.
template <class T>
void LiteralBinary(std::vector<T>& line, int reach, T foreground, bool dilate);
// By repeated pair sums.
void LiteralBinomial(std::vector<std::uint8_t>& line, int order);

// The valid samples of the window of kx * ky pixels around (x, y), in order, and the weights that belong to them.
// `valid` is asked for positions that may lie beyond the picture; without it, all are valid.
template <class T>
struct Window {
    std::vector<T> samples;
    std::vector<std::int32_t> weights;
};
template <class T>
Window<T> LiteralWindow(const std::vector<T>& pixels, int cx, int cy, int x, int y, int kx, int ky,
                        const std::vector<std::int32_t>& weights, const std::function<bool(int, int)>& valid);
// The rounded sum of a window, times the scale or, with a mask, over the sum of the weights, which is at least 1.
template <class T>
T LiteralSum(const Window<T>& window, double scale, bool masked);

std::vector<std::int32_t> PascalRow(int taps);

}  // namespace test
