#include "ipbase/rows/ipEdgeRows.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/rows/ipEdgeRows.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/rows/ipRowLoop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::rows::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

namespace hn = hwy::HWY_NAMESPACE;

#undef VORIP_VECTORS
#define VORIP_VECTORS (HWY_TARGET != HWY_SCALAR && !HWY_HAVE_SCALABLE)

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

template <class T>
HWY_ATTR void GroundLoop(u64* ground, const T* row, T foreground, bool outwards, std::size_t count) {
    const u64 flip = outwards ? ~u64{0} : 0;
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
    const u64 beyond = ~u64{0} << count % 64;
    u64& last = ground[count / 64];
    last = row[count - 1] >= foreground ? last | beyond : last & ~beyond;
    for (std::size_t w = 0; w < BitWords(count); ++w) ground[w] ^= flip;
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

// out = in, and the same moved by as many bits up or down.
HWY_ATTR void Spread(u64* out, const u64* in, std::size_t by, bool up, std::size_t words) {
    const std::size_t whole = std::min(by / 64, words), inner = words - whole;
    const int bits = static_cast<int>(by % 64), rest = 63 - bits;
    if (up) {
        std::copy_n(in, std::min(whole + 1, words), out);
        if (inner > 0) out[whole] |= in[0] << bits;
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = 1; i < inner; ++i) out[i + whole] = in[i + whole] | in[i] << bits | in[i - 1] >> rest >> 1;
    } else {
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = 1; i < inner; ++i)
            out[i - 1] = in[i - 1] | in[i - 1 + whole] >> bits | in[i + whole] << rest << 1;
        std::copy(in + inner - (inner > 0), in + words, out + inner - (inner > 0));
        if (inner > 0) out[inner - 1] |= in[words - 1] >> bits;
    }
}

// The bits from each one on, `reach` in all.
HWY_ATTR const u64* SpreadAll(u64* bits, u64* other, std::size_t reach, bool up, std::size_t words) {
    for (std::size_t done = 1; done < reach;) {
        const std::size_t by = std::min(done, reach - done);
        Spread(other, bits, by, up, words);
        std::swap(bits, other);
        done += by;
    }
    return bits;
}

HWY_ATTR void AlongLoop(u64* filled, const u64* ground, std::size_t reach, u64* scratch, std::size_t words) {
    u64* const other = scratch + words;
    constexpr u64 first = 1, last = u64{1} << 63;
    scratch[0] = ground[0] & ~(ground[0] << 1 | (ground[0] & first));
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 1; i < words; ++i) scratch[i] = ground[i] & ~(ground[i] << 1 | ground[i - 1] >> 63);
    const u64* const up = SpreadAll(scratch, other, reach, true, words);
    std::copy_n(up, words, filled);
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 1; i < words; ++i) scratch[i - 1] = ground[i - 1] & ~(ground[i - 1] >> 1 | ground[i] << 63);
    scratch[words - 1] = ground[words - 1] & ~(ground[words - 1] >> 1 | (ground[words - 1] & last));
    const u64* const down = SpreadAll(scratch, other, reach, false, words);
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < words; ++i) filled[i] |= down[i];
}
HWY_ATTR void MarkLoop(u64* marks, const u64* first, const u64* before, const u64* last, const u64* after,
                       std::size_t words) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < words; ++i) marks[i] = (first[i] & ~before[i]) | (last[i] & ~after[i]);
}
HWY_ATTR void SetLoop(u64* dst, const u64* bits, std::size_t words) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < words; ++i) dst[i] |= bits[i];
}
HWY_ATTR void ClearLoop(u64* dst, const u64* bits, std::size_t words) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < words; ++i) dst[i] &= ~bits[i];
}

template <class... T>
void FillEdges(std::tuple<EdgeRows<T>...>& rows) {
    ((std::get<EdgeRows<T>>(rows) = {&GroundLoop<T>, &FillLoop<T>}), ...);
}

const EdgeTable& Rows() {
    static const EdgeTable table = [] {
        EdgeTable rows;
        FillEdges(rows.edges);
        rows.bits = {&AlongLoop, &MarkLoop, &SetLoop, &ClearLoop};
        return rows;
    }();
    return table;
}

}  // namespace
}  // namespace KrN::rows::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::rows {
HWY_EXPORT(Rows);
const EdgeTable& GetEdgeRows() { return HWY_DYNAMIC_DISPATCH(Rows)(); }
}  // namespace KrN::rows
#endif
