#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "imagemodel/krarrays.h"

// A multiset of numbers below a limit that follows its median while numbers come and go.
namespace KrN {

class RankSet {
public:
    explicit RankSet(std::size_t limit);
    void Add(std::uint32_t rank, std::uint32_t times) {
        if (mCounts[rank] == 0) Mark(rank);
        mCounts[rank] += times;
        mTotal += times;
        if (rank < mPlace) mBelow += times;
    }
    void Remove(std::uint32_t rank, std::uint32_t times) {
        mCounts[rank] -= times;
        if (mCounts[rank] == 0) Unmark(rank);
        mTotal -= times;
        if (rank < mPlace) mBelow -= times;
    }
    std::size_t Size() const { return mTotal; }
    // The lower middle one; the set is not empty.
    std::uint32_t Median();

private:
    void Mark(std::uint32_t rank);
    void Unmark(std::uint32_t rank);
    std::uint32_t Next(std::uint32_t rank) const;
    std::uint32_t Previous(std::uint32_t rank) const;

    std::vector<std::uint32_t> mCounts;
    // Bit i of a level: number i is in the set, or word i of the level before is not 0.
    std::array<std::vector<std::uint64_t>, 6> mLevels;
    std::size_t mTotal = 0, mBelow = 0;  // numbers in the set, and those below the place
    std::uint32_t mPlace = 0;
};

// The ranks of the pixels of an image among its different values, and these values.
template <class T>
struct RankedImage {
    explicit RankedImage(const KrTBuf2D<T>& image);
    KrTBuf2D<std::uint32_t> ranks;
    std::vector<T> values;
};

}  // namespace KrN
