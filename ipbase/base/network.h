#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// Networks of comparators that select ranks of samples. They are made while the program runs, for windows of any size,
// or when it is compiled.
namespace KrN {

// Puts two of the samples in order; what is not looked at any more is not stored.
struct Comparator {
    std::uint16_t low, high;
    bool keepLow, keepHigh;
};

// A list of limited length, for constants.
template <class E, std::size_t most>
class FixedList {
public:
    constexpr FixedList() = default;
    constexpr std::size_t size() const { return mSize; }
    constexpr bool empty() const { return mSize == 0; }
    constexpr const E& operator[](std::size_t i) const { return mItems[i]; }
    constexpr E& operator[](std::size_t i) { return mItems[i]; }
    constexpr const E& back() const { return mItems[mSize - 1]; }
    constexpr void push_back(const E& item) { mItems[mSize++] = item; }

private:
    E mItems[most] = {};
    std::size_t mSize = 0;
};

template <class Wires, class List>
struct BasicNetwork {
    List list;
    Wires wires;  // where the selected ranks stand at the end, in ascending order

    // The ranks from `first` to `last` (from 0 on) of the samples of `lists` lists of `length` samples, each in
    // ascending order, which stand one after the other.
    constexpr BasicNetwork(std::size_t lists, std::size_t length, std::size_t first, std::size_t last)
        : mFirst(first), mLast(last), mCount(lists * length) {
        const Wires sorted = Sort(0, lists, length);
        for (std::size_t rank = mFirst; rank <= mLast; ++rank) wires.push_back(sorted[rank]);
        Prune(lists * length);
    }
    BasicNetwork() = default;

private:
    constexpr Wires Sort(std::size_t begin, std::size_t lists, std::size_t length) {
        Wires sorted;
        if (lists == 1) {
            for (std::size_t i = 0; i < length; ++i) sorted.push_back(static_cast<std::uint16_t>(begin * length + i));
            return sorted;
        }
        std::size_t left = 1;
        while (2 * left < lists) left *= 2;
        const Wires a = Sort(begin, left, length), b = Sort(begin + left, lists - left, length);
        return Cut(Merge(a, b));
    }

    // K. E. Batcher, "Sorting networks and their applications", AFIPS Spring Joint Computer Conference 32 (1968):
    // merges the samples of two lists that stand at even places, and those at odd ones, and compares neighbours.
    constexpr Wires Merge(const Wires& a, const Wires& b) {
        if (a.empty()) return b;
        if (b.empty()) return a;
        Wires even, odd, merged;
        if (a.size() == 1 && b.size() == 1) {
            even = b;
            odd = a;
        } else {
            even = Merge(Alternate(a, 0), Alternate(b, 0));
            odd = Merge(Alternate(a, 1), Alternate(b, 1));
            merged.push_back(even[0]);
        }
        const std::size_t before = merged.size();
        for (std::size_t i = before; i < even.size(); ++i) {
            if (i - before < odd.size()) {
                list.push_back({odd[i - before], even[i], true, true});
                merged.push_back(odd[i - before]);
            }
            merged.push_back(even[i]);
        }
        for (std::size_t i = even.size() - before; i < odd.size(); ++i) merged.push_back(odd[i]);
        return merged;
    }
    static constexpr Wires Alternate(const Wires& wires, std::size_t first) {
        Wires half;
        for (std::size_t i = first; i < wires.size(); i += 2) half.push_back(wires[i]);
        return half;
    }

    // Takes away what has more samples of its own list below or above it than the ranks allow.
    constexpr Wires Cut(const Wires& sorted) {
        const std::size_t size = sorted.size(), above = mCount - 1 - mFirst;
        const std::size_t begin = size > above + 1 ? size - above - 1 : 0;
        const std::size_t end = size < mLast + 1 ? size : mLast + 1;
        Wires left;
        for (std::size_t i = begin; i < end; ++i) left.push_back(sorted[i]);
        mCount -= size - left.size();
        mFirst -= begin;
        mLast -= begin;
        return left;
    }

    // Leaves out what does not lead to the wires.
    constexpr void Prune(std::size_t samples) {
        Wires needed;
        for (std::size_t i = 0; i < samples; ++i) needed.push_back(0);
        for (std::size_t i = 0; i < wires.size(); ++i) needed[wires[i]] = 1;
        for (std::size_t k = list.size(); k-- > 0;) {
            Comparator& c = list[k];
            c.keepLow = needed[c.low] != 0;
            c.keepHigh = needed[c.high] != 0;
            if (c.keepLow || c.keepHigh) needed[c.low] = needed[c.high] = 1;
        }
        List kept;
        for (std::size_t k = 0; k < list.size(); ++k)
            if (list[k].keepLow || list[k].keepHigh) kept.push_back(list[k]);
        list = kept;
    }

    std::size_t mFirst = 0, mLast = 0, mCount = 0;  // ranks that are looked for among so many samples
};

using Network = BasicNetwork<std::vector<std::uint16_t>, std::vector<Comparator>>;
template <std::size_t samples, std::size_t comparators>
using FixedNetwork = BasicNetwork<FixedList<std::uint16_t, samples>, FixedList<Comparator, comparators>>;

}  // namespace KrN
