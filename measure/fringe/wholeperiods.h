#pragma once

#include <cstdint>
#include <vector>

namespace measure {

// One period of the phase along a line of pixels.
struct WholePeriod {
    int first = 0, end = 0;  // its pixels, maybe some between that are not usable
    float length = 0;        // pixels, from a phase to the next one that is equal
    float shareOfFirst = 1;  // by how much its first pixel belongs to it
};

// The periods of the phase along a line, as far as neighbours are usable: what runs of such pixels have beyond whole
// periods is left out. A few pixels that are not usable do not end a run, jumps of the phase do; periods of which more
// is missing do not count.
void FindWholePeriods(const float* phase, const std::uint8_t* usable, int size, std::vector<WholePeriod>& found);

}  // namespace measure
