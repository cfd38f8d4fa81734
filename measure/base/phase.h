#pragma once

namespace measure {

// Phases in radians from here on count as none: sums and differences of them stay within what whole numbers hold.
inline constexpr float kLeastHugePhase = 1e6f;

}  // namespace measure
