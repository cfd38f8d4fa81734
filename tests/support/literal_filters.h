#pragma once

#include <cstdint>
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
// By repeated pair sums.
void LiteralBinomial(std::vector<std::uint8_t>& line, int order);

std::vector<std::int32_t> PascalRow(int taps);

}  // namespace test
