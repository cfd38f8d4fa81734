#include "ipbase/kernels/edge.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/edge.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

#if VORIP_VECTORS
template <class V>
HWY_INLINE HWY_ATTR auto AtLeast(V a, V b) {
    if constexpr (std::is_floating_point_v<hn::TFromV<V>>)
        return hn::Ge(a, b);
    else
        return hn::Eq(hn::Max(a, b), a);
}

// Eight bits or more at a time.
template <class D, class F>
HWY_INLINE HWY_ATTR void StoreBits(D d, const F& mask, u8* bytes) {
    if constexpr (HWY_LANES(hn::TFromD<D>) >= 8) {
        hn::StoreMaskBits(d, mask(0), bytes);
    } else {
        u8 low[8] = {}, high[8] = {};
        hn::StoreMaskBits(d, mask(0), low);
        hn::StoreMaskBits(d, mask(hn::Lanes(d)), high);
        *bytes = static_cast<u8>(low[0] | high[0] << hn::Lanes(d));
    }
}
template <class D>
HWY_INLINE HWY_ATTR auto LoadBits(D d, const u8* bytes, std::size_t i) {
    if constexpr (HWY_LANES(hn::TFromD<D>) >= 8) {
        return hn::LoadMaskBits(d, bytes + i / 8);
    } else {
        const u8 bits[8] = {static_cast<u8>(bytes[i / 8] >> i % 8 & ((1 << hn::Lanes(d)) - 1))};
        return hn::LoadMaskBits(d, bits);
    }
}
#endif

// Calls `word(i)` for all words of a row.
template <class F>
HWY_INLINE HWY_ATTR void EachWord(std::size_t words, const F& word) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < words; ++i) word(i);
}

// What lies beyond the ends of the row is as its ends are, so that no edge appears there.
template <class T>
HWY_ATTR void GroundLoop(u64* ground, const T* row, T foreground, bool outwards, std::size_t count) {
    std::size_t i = 0;
#if VORIP_VECTORS
    const hn::ScalableTag<T> d;
    const std::size_t step = std::max<std::size_t>(hn::Lanes(d), 8);
    const auto limit = hn::Set(d, foreground);
    for (; i + step <= count; i += step)
        StoreBits(
            d, [=](std::size_t k) HWY_ATTR { return AtLeast(hn::LoadU(d, row + i + k), limit); },
            reinterpret_cast<u8*>(ground) + i / 8);
#endif
    for (; i < count; ++i) {
        u64& word = ground[i / 64];
        const u64 bit = u64{1} << i % 64;
        word = row[i] >= foreground ? word | bit : word & ~bit;
    }
    const u64 before = row[0] >= foreground ? ~u64{0} : 0, beyond = row[count - 1] >= foreground ? ~u64{0} : 0;
    u64& last = ground[count / 64];
    last = (last & ~(~u64{0} << count % 64)) | (beyond & ~u64{0} << count % 64);
    const std::size_t words = BitWords(count);
    std::fill_n(ground + count / 64 + 1, words + 1 - count / 64, beyond);
    std::fill_n(ground - 2, 2, before);
    if (!outwards) return;
    u64* const all = ground - 2;
    EachWord(words + 4, [=](std::size_t i) HWY_ATTR { all[i] = ~all[i]; });
}

template <class T>
HWY_ATTR void FillLoop(T* dst, const T* row, const u64* bits, T value, std::size_t count) {
    std::size_t i = 0;
#if VORIP_VECTORS
    const hn::ScalableTag<T> d;
    const auto filled = hn::Set(d, value);
    for (; i + hn::Lanes(d) <= count; i += hn::Lanes(d)) {
        const auto set = LoadBits(d, reinterpret_cast<const u8*>(bits), i);
        hn::StoreU(hn::IfThenElse(set, filled, hn::LoadU(d, row + i)), d, dst + i);
    }
#endif
    for (; i < count; ++i) dst[i] = bits[i / 64] >> i % 64 & 1 ? value : row[i];
}

// The bits from each one on, `reach` in all, upwards or downwards. Both rows have as many words of 0 on either side.
template <bool up>
HWY_ATTR const u64* Spread(u64* from, u64* to, std::size_t reach, std::size_t words) {
    for (std::size_t done = 1; done < reach;) {
        const std::size_t by = std::min(done, reach - done), whole = by / 64;
        const int bits = static_cast<int>(by % 64), rest = 63 - bits;
        const u64 *near = up ? from - whole : from + whole, *far = up ? near - 1 : near + 1;
        EachWord(words, [=](std::size_t i) HWY_ATTR {
            to[i] = from[i] | (up ? near[i] << bits | far[i] >> rest >> 1 : near[i] >> bits | far[i] << rest << 1);
        });
        std::swap(from, to);
        done += by;
    }
    return from;
}

// Where the ground begins, seen from below and from above.
HWY_INLINE HWY_ATTR u64 Rising(const u64* at) { return *at & ~(*at << 1 | *(at - 1) >> 63); }
HWY_INLINE HWY_ATTR u64 Falling(const u64* at) { return *at & ~(*at >> 1 | *(at + 1) << 63); }

// Spreads the bits of two neighbouring words upwards in the second one, or downwards in the first one.
template <std::size_t done, std::size_t reach>
HWY_INLINE HWY_ATTR void SpreadPairs(u64& up, u64& before, u64& down, u64& after) {
    if constexpr (done < reach) {
        constexpr std::size_t by = std::min(done, reach - done);
        up |= up << by | before >> (64 - by);
        before |= before << by;
        down |= down >> by | after << (64 - by);
        after |= after >> by;
        SpreadPairs<done + by, reach>(up, before, down, after);
    }
}
// A short reach ends in the next word.
template <std::size_t reach>
HWY_ATTR void AlongFew(u64* filled, const u64* ground, std::size_t words) {
    EachWord(words, [=](std::size_t i) HWY_ATTR {
        const u64* at = ground + i;
        u64 up = Rising(at), before = Rising(at - 1), down = Falling(at), after = Falling(at + 1);
        SpreadPairs<1, reach>(up, before, down, after);
        filled[i] = up | down;
    });
}
HWY_ATTR void AlongMany(u64* filled, const u64* ground, std::size_t reach, u64* scratch, std::size_t words) {
    u64 *const marks = scratch + words, *const other = marks + 3 * words;
    EachWord(words, [=](std::size_t i) HWY_ATTR { marks[i] = Rising(ground + i); });
    const u64* const up = Spread<true>(marks, other, reach, words);
    EachWord(words, [=](std::size_t i) HWY_ATTR {
        filled[i] = up[i];
        marks[i] = Falling(ground + i);
    });
    const u64* const down = Spread<false>(marks, other, reach, words);
    EachWord(words, [=](std::size_t i) HWY_ATTR { filled[i] |= down[i]; });
}
HWY_ATTR void AlongLoop(u64* filled, u64* ground, std::size_t reach, bool isGround, u64* scratch, std::size_t words) {
    constexpr decltype(&AlongFew<1>) few[] = {&AlongFew<1>, &AlongFew<2>, &AlongFew<3>, &AlongFew<4>,
                                              &AlongFew<5>, &AlongFew<6>, &AlongFew<7>, &AlongFew<8>};
    if (reach <= std::size(few))
        few[reach - 1](filled, ground, words);
    else
        AlongMany(filled, ground, reach, scratch, words);
    if (isGround)
        EachWord(words, [=](std::size_t i) HWY_ATTR { ground[i] |= filled[i]; });
    else
        EachWord(words, [=](std::size_t i) HWY_ATTR { ground[i] &= ~filled[i]; });
}
HWY_ATTR void MarkLoop(u64* marks, u64* since, const u64* first, const u64* before, const u64* last, const u64* after,
                       std::size_t words) {
    EachWord(words, [=](std::size_t i) HWY_ATTR {
        marks[i] = (first[i] & ~before[i]) | (last[i] & ~after[i]);
        since[i] |= marks[i];
    });
}
HWY_ATTR void JoinLoop(u64* dst, const u64* a, const u64* b, const u64* c, std::size_t words) {
    EachWord(words, [=](std::size_t i) HWY_ATTR { dst[i] = a[i] | b[i] | c[i]; });
}

template <class... T>
void FillEdges(std::tuple<EdgeRows<T>...>& rows) {
    ((std::get<EdgeRows<T>>(rows) = {&GroundLoop<T>, &FillLoop<T>}), ...);
}

const EdgeKernels& Kernels() {
    static const EdgeKernels table = [] {
        EdgeKernels all;
        FillEdges(all.edges);
        all.bits = {&AlongLoop, &MarkLoop, &JoinLoop};
        return all;
    }();
    return table;
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::kernels {
HWY_EXPORT(Kernels);
const EdgeKernels& GetEdgeKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
