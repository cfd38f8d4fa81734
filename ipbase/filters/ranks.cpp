#include "ipbase/filters/ranks.h"

#include <cstring>
#include <type_traits>

namespace KrN {

namespace {

// Position of the lowest and the highest bit of a number that is not 0, by halving.
unsigned Lowest(std::uint64_t bits) {
    unsigned at = 0;
    for (unsigned half = 32; half > 0; half /= 2)
        if ((bits << (64 - half) >> (64 - half)) == 0) {
            bits >>= half;
            at += half;
        }
    return at;
}
unsigned Highest(std::uint64_t bits) {
    unsigned at = 0;
    for (unsigned half = 32; half > 0; half /= 2)
        if (bits >> half != 0) {
            bits >>= half;
            at += half;
        }
    return at;
}

// Unsigned numbers in the order of the pixels.
template <class T>
std::uint32_t KeyOf(T pixel) {
    std::uint32_t bits = 0;
    std::memcpy(&bits, &pixel, sizeof(T));
    if constexpr (std::is_floating_point_v<T>) return bits & 0x80000000u ? ~bits : bits | 0x80000000u;
    if constexpr (std::is_signed_v<T>) return bits ^ 0x80000000u;
    return bits;
}

// Sorts by the upper 32 bits, eleven at a time.
void SortByKey(std::vector<std::uint64_t>& items) {
    std::vector<std::uint64_t> sorted(items.size());
    for (int shift = 32; shift < 64; shift += 11) {
        std::vector<std::size_t> starts(2049);
        for (const std::uint64_t item : items) ++starts[(item >> shift & 2047) + 1];
        for (std::size_t i = 1; i < starts.size(); ++i) starts[i] += starts[i - 1];
        for (const std::uint64_t item : items) sorted[starts[item >> shift & 2047]++] = item;
        items.swap(sorted);
    }
}

}  // namespace

RankSet::RankSet(std::size_t limit) : mCounts(limit) {
    for (auto& level : mLevels) {
        limit = (limit + 63) / 64;
        level.resize(limit);
    }
}

void RankSet::Mark(std::uint32_t rank) {
    std::size_t i = rank;
    for (auto& level : mLevels) {
        const bool was = level[i / 64] != 0;
        level[i / 64] |= std::uint64_t{1} << (i % 64);
        if (was) return;
        i /= 64;
    }
}

void RankSet::Unmark(std::uint32_t rank) {
    std::size_t i = rank;
    for (auto& level : mLevels) {
        level[i / 64] &= ~(std::uint64_t{1} << (i % 64));
        if (level[i / 64] != 0) return;
        i /= 64;
    }
}

// The next number in the set, which must have one: up the levels until a word has a later bit, and down again.
std::uint32_t RankSet::Next(std::uint32_t rank) const {
    std::size_t i = rank, level = 0;
    for (;; ++level, i /= 64) {
        const std::uint64_t later = i % 64 == 63 ? 0 : mLevels[level][i / 64] >> (i % 64 + 1);
        if (later == 0) continue;
        i += 1 + Lowest(later);
        break;
    }
    while (level-- > 0) i = i * 64 + Lowest(mLevels[level][i]);
    return static_cast<std::uint32_t>(i);
}

std::uint32_t RankSet::Previous(std::uint32_t rank) const {
    std::size_t i = rank, level = 0;
    for (;; ++level, i /= 64) {
        const std::uint64_t earlier = i % 64 == 0 ? 0 : mLevels[level][i / 64] << (64 - i % 64);
        if (earlier == 0) continue;
        i -= 64 - Highest(earlier);
        break;
    }
    while (level-- > 0) i = i * 64 + Highest(mLevels[level][i]);
    return static_cast<std::uint32_t>(i);
}

std::uint32_t RankSet::Median() {
    const std::size_t rank = (mTotal + 1) / 2;
    while (mBelow >= rank) {
        mPlace = Previous(mPlace);
        mBelow -= mCounts[mPlace];
    }
    while (mBelow + mCounts[mPlace] < rank) {
        mBelow += mCounts[mPlace];
        mPlace = Next(mPlace);
    }
    return mPlace;
}

template <class T>
RankedImage<T>::RankedImage(const KrTBuf2D<T>& image) : ranks(image.Width(), image.Height()) {
    const std::size_t count = image.Width() * image.Height();
    const T* pixels = image.Row(0);
    if constexpr (sizeof(T) < 4) {
        for (std::size_t v = 0; v < std::size_t{1} << (8 * sizeof(T)); ++v) values.push_back(static_cast<T>(v));
        for (std::size_t i = 0; i < count; ++i) ranks.Row(0)[i] = pixels[i];
    } else {
        std::vector<std::uint64_t> items(count);
        for (std::size_t i = 0; i < count; ++i) items[i] = std::uint64_t{KeyOf(pixels[i])} << 32 | i;
        SortByKey(items);
        for (std::size_t k = 0; k < count; ++k) {
            const std::uint32_t i = static_cast<std::uint32_t>(items[k]);
            if (k == 0 || items[k] >> 32 != items[k - 1] >> 32) values.push_back(pixels[i]);
            ranks.Row(0)[i] = static_cast<std::uint32_t>(values.size() - 1);
        }
    }
}

template struct RankedImage<std::uint8_t>;
template struct RankedImage<std::uint16_t>;
template struct RankedImage<std::int32_t>;
template struct RankedImage<float>;

}  // namespace KrN
