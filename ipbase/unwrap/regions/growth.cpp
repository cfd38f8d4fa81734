#include "ipbase/unwrap/regions/growth.h"

#include <hwy/base.h>

#include <algorithm>
#include <cstdlib>
#include <memory>

#include "ipbase/base/watch.h"

namespace KrN {
namespace {

using LevelCounts = std::array<std::uint32_t, 256>;

// Growth bookkeeping of one pixel.
struct SrUnwrapElemInfo {
    std::uint8_t openLevel;  // the pixel's level while it can still be queued, 0 from then on
    std::uint8_t wrapped;    // its wrapped phase
};

// A queued pixel. Its phase is settled when it is queued, because the pixel that queues it is already unwrapped.
struct SrUnwrapStackElement {
    std::uint32_t pixel;
    std::uint16_t phase;
    std::uint8_t pathQuality;
};

// The growth stacks of all levels: a priority queue that gives the best level first, within a level the last queued.
// Each pixel is queued at most once, so the stacks lie behind one another in a block of one entry per pixel.
class SrUnwrapStackInfo {
public:
    explicit SrUnwrapStackInfo(const LevelCounts& counts) {
        std::size_t total = 0;
        for (const std::uint32_t count : counts) total += count;
        mElements.reset(new SrUnwrapStackElement[total]);
        SrUnwrapStackElement* bottom = mElements.get();
        for (std::size_t level = 0; level < 256; ++level) {
            mBottom[level] = mTop[level] = bottom;
            bottom += counts[level];
        }
    }

    void Push(unsigned level, const SrUnwrapStackElement& element) {
        *mTop[level]++ = element;
        mFilled[level / 64] |= std::uint64_t{1} << (level % 64);
        mCurrent = std::max(mCurrent, level);
    }

    bool Pop(SrUnwrapStackElement& element) {
        while (mTop[mCurrent] == mBottom[mCurrent])
            if (!Descend()) return false;
        element = *--mTop[mCurrent];
        return true;
    }

private:
    // Goes from the empty current stack to the best other one that is marked as filled (it may have been emptied).
    bool Descend() {
        mFilled[mCurrent / 64] &= ~(std::uint64_t{1} << (mCurrent % 64));
        for (unsigned word = mCurrent / 64 + 1; word-- > 0;) {
            if (!mFilled[word]) continue;
            mCurrent = word * 64 + 63 - static_cast<unsigned>(hwy::Num0BitsAboveMS1Bit_Nonzero64(mFilled[word]));
            return true;
        }
        mCurrent = 0;
        return false;
    }

    std::unique_ptr<SrUnwrapStackElement[]> mElements;
    std::array<SrUnwrapStackElement*, 256> mBottom{};
    std::array<SrUnwrapStackElement*, 256> mTop{};
    std::array<std::uint64_t, 4> mFilled{};
    unsigned mCurrent = 0;
};

// Small steps are direct differences of at most 64 and differences across the wrap of at most 63.
inline bool IsLargeStep(int difference) { return static_cast<unsigned>(std::abs(difference)) - 65u < 128u; }

class AreaGrower {
public:
    AreaGrower(UnwrapPlanes& planes, unsigned minQuality, const std::array<std::uint8_t, 256>& allowance)
        : mPlanes(planes), mInfo(planes.phase.size()), mCounts(Open(minQuality)), mStacks(mCounts) {
        for (unsigned p = 0; p < 256; ++p) mLimits[p] = std::min(p + allowance[p], 255u);
        mStride = planes.Stride();
    }

    UnwrapAreas Run() {
        const std::unique_ptr<std::uint32_t[]> seeds = SortByLevel();
        UnwrapAreas result;
        result.pixels.resize(mUsable);
        mFirst = mGrown = result.pixels.data();
        mNextTelling = mFirst + std::min(kPixelsPerTelling, mUsable);
        std::uint32_t grown = 0;
        for (std::size_t i = 0; grown < mUsable; ++i) {
            if (!mInfo[seeds[i]].openLevel) continue;
            const std::uint32_t count = Grow(seeds[i], static_cast<std::uint32_t>(result.areas.size()) + 1);
            result.areas.push_back({grown, count});
            grown += count;
        }
        return result;
    }

private:
    static constexpr std::uint32_t kPixelsPerTelling = 1 << 18;

    // Opens the pixels above the threshold and counts them by level.
    LevelCounts Open(unsigned minQuality) {
        std::array<LevelCounts, 2> counts{};  // two, as neighbours often have the same level
        for (int y = 0; y < mPlanes.height; ++y) {
            const std::size_t row = mPlanes.Row(y);
            for (std::size_t i = row; i < row + static_cast<std::size_t>(mPlanes.width); ++i) {
                const std::uint8_t level = mPlanes.quality[i] > minQuality ? mPlanes.quality[i] : std::uint8_t{0};
                mInfo[i] = {level, static_cast<std::uint8_t>(mPlanes.phase[i])};
                ++counts[i % 2][level];
            }
        }
        for (unsigned level = 0; level < 256; ++level) counts[0][level] += counts[1][level];
        counts[0][0] = 0;
        return counts[0];
    }

    // The open pixels, highest level first, each level in raster order.
    std::unique_ptr<std::uint32_t[]> SortByLevel() {
        LevelCounts next{};
        for (unsigned level = 256; level-- > 1;) {
            next[level] = mUsable;
            mUsable += mCounts[level];
        }
        std::unique_ptr<std::uint32_t[]> pixels(new std::uint32_t[mUsable]);
        for (std::size_t i = 0; i < mInfo.size(); ++i)
            if (const unsigned level = mInfo[i].openLevel) pixels[next[level]++] = static_cast<std::uint32_t>(i);
        return pixels;
    }

    std::uint32_t Grow(std::uint32_t seed, std::uint32_t number) {
        const std::uint32_t* const first = mGrown;
        const std::uint8_t level = mInfo[seed].openLevel;
        mInfo[seed].openLevel = 0;
        SrUnwrapStackElement element{seed, mInfo[seed].wrapped, level};
        unsigned limit = level;  // a seed has no allowance
        do {
            mPlanes.area[element.pixel] = number;
            mPlanes.phase[element.pixel] = element.phase;
            *mGrown++ = element.pixel;
            if (mGrown == mNextTelling) Tell();
            ScanNeighborhood(element, limit);
            if (!mStacks.Pop(element)) break;
            limit = mLimits[element.pathQuality];
        } while (true);
        return static_cast<std::uint32_t>(mGrown - first);
    }

    void Tell() {
        const auto grown = static_cast<std::uint32_t>(mGrown - mFirst);
        mNextTelling = mGrown + std::min(kPixelsPerTelling, mUsable - grown);
        WorkWatch::Tell(static_cast<double>(grown) / mUsable);
    }

    void ScanNeighborhood(const SrUnwrapStackElement& from, unsigned limit) {
        Queue(from, from.pixel + 1, limit);
        Queue(from, from.pixel - 1, limit);
        Queue(from, from.pixel + mStride, limit);
        Queue(from, from.pixel - mStride, limit);
    }

    void Queue(const SrUnwrapStackElement& from, std::size_t pixel, unsigned limit) {
        SrUnwrapElemInfo& info = mInfo[pixel];
        const unsigned level = info.openLevel;
        if (level - 1u >= limit) return;  // not open, or above the limit
        const int difference = int{info.wrapped} - (from.phase & 0xFF);
        if (IsLargeStep(difference)) return;  // a small step from elsewhere may still reach it
        const auto phase = static_cast<std::uint16_t>(from.phase + static_cast<std::int8_t>(difference));
        info.openLevel = 0;
        mStacks.Push(level, {static_cast<std::uint32_t>(pixel), phase,
                             static_cast<std::uint8_t>(std::min<unsigned>(from.pathQuality, level))});
    }

    UnwrapPlanes& mPlanes;
    std::vector<SrUnwrapElemInfo> mInfo;
    LevelCounts mCounts;
    SrUnwrapStackInfo mStacks;
    std::array<unsigned, 256> mLimits{};
    std::size_t mStride = 0;
    std::uint32_t mUsable = 0;
    std::uint32_t *mFirst = nullptr, *mGrown = nullptr, *mNextTelling = nullptr;
};

}  // namespace

UnwrapAreas GrowUnwrapAreas(UnwrapPlanes& planes, unsigned minQuality, const std::array<std::uint8_t, 256>& allowance) {
    return AreaGrower(planes, minQuality, allowance).Run();
}

}  // namespace KrN
