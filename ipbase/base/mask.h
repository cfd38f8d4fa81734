#pragma once

#include <cstdint>

// The one rule of masks: values below the limit admit a pixel, the others exclude it.
namespace KrN {

inline constexpr std::uint8_t kMaskLimit = 64;
constexpr bool Admits(std::uint8_t mask) { return mask < kMaskLimit; }

}  // namespace KrN
