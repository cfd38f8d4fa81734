#pragma once

#include <algorithm>
#include <array>
#include <limits>
#include <vector>

#include "ipbase/kernels/rowtypes.h"

namespace KrN {

using kernels::i32;
using u32 = std::uint32_t;
using kernels::u8;

// Finds the nearest entries of a palette: of those that may be the nearest to some colour of a cell of 8 x 8 x 8, which
// are gathered when the first colour of the cell comes.
class NearestEntry {
public:
    template <class Entries>
    explicit NearestEntry(const Entries& entries) : mCells(32 * 32 * 32) {
        for (const auto& entry : entries)
            mEntries.push_back({0, entry.r, entry.g, entry.b, static_cast<u8>(mEntries.size())});
        if (mEntries.empty()) mEntries.push_back({});
    }
    u8 operator()(u8 r, u8 g, u8 b) {
        Cell& cell = mCells[std::size_t{r} >> 3 << 10 | std::size_t{g} >> 3 << 5 | std::size_t{b} >> 3];
        if (cell.first == cell.last) cell = Gather({r & ~7, g & ~7, b & ~7});
        i32 nearest = std::numeric_limits<i32>::max();  // the distance above the index
        for (u32 i = cell.first; i < cell.last && mCandidates[i].least <= nearest >> 8; ++i) {
            const Entry& c = mCandidates[i];
            const i32 dr = c.r - r, dg = c.g - g, db = c.b - b;
            nearest = std::min(nearest, (dr * dr + dg * dg + db * db) << 8 | c.index);
        }
        return static_cast<u8>(nearest & 255);
    }

private:
    struct Entry {
        i32 least;  // distance from the cell
        u8 r, g, b, index;
    };
    struct Cell {
        u32 first = 0, last = 0;  // of its candidates, which stand in the order of their distances
    };

    // No entry counts whose least distance from the cell is above another one's greatest.
    Cell Gather(const std::array<i32, 3>& corner) {
        i32 bound = std::numeric_limits<i32>::max();
        for (Entry& entry : mEntries) {
            const std::array<i32, 3> at{entry.r, entry.g, entry.b};
            i32 least = 0, greatest = 0;
            for (std::size_t k = 0; k < 3; ++k) {
                const i32 below = corner[k] - at[k], above = -below - 7;
                const i32 outside = std::max({below, above, 0}), farthest = std::max(below, above) + 7;
                least += outside * outside;
                greatest += farthest * farthest;
            }
            entry.least = least;
            bound = std::min(bound, greatest);
        }
        const std::size_t first = mCandidates.size();
        for (const Entry& entry : mEntries)
            if (entry.least <= bound) mCandidates.push_back(entry);
        std::sort(mCandidates.begin() + static_cast<std::ptrdiff_t>(first), mCandidates.end(),
                  [](const Entry& a, const Entry& b) { return a.least < b.least; });
        return {static_cast<u32>(first), static_cast<u32>(mCandidates.size())};
    }

    std::vector<Entry> mEntries, mCandidates;
    std::vector<Cell> mCells;
};

}  // namespace KrN
