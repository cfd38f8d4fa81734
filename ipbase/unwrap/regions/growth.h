#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "ipbase/unwrap/regions/planes.h"

namespace KrN {

// One grown area: its pixels are the entries first .. first + pixelCount - 1 of UnwrapAreas::pixels.
struct SrUnwrapArea {
    std::uint32_t first = 0;
    std::uint32_t pixelCount = 0;
};

// All areas of an image. Area number n (from 1) is areas[n - 1].
struct UnwrapAreas {
    std::vector<SrUnwrapArea> areas;
    std::vector<std::uint32_t> pixels;  // plane indices, grouped by area
};

// Grows areas of consistent phase over all pixels whose level is above minQuality, best levels first. A pixel that was
// reached with path quality p looks at neighbours up to the level p + allowance[p]; pixels above it wait for a seed of
// their own. Fills the area plane and the fringe orders of the phase plane, relative to the order 0 of each seed.
UnwrapAreas GrowUnwrapAreas(UnwrapPlanes& planes, unsigned minQuality, const std::array<std::uint8_t, 256>& allowance);

}  // namespace KrN
