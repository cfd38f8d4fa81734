#include "ipbase/kernels/table.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/table.cpp"
#define HWY_WANT_AVX3_DL
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_SSE4 | HWY_AVX2 | HWY_AVX3)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

template <class D>
HWY_ATTR void MapLoop(D* dst, const u8* a, const D* table, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = table[a[i]];
}

#if HWY_TARGET == HWY_AVX3_DL
// Half of a table of bytes fits the two registers of one byte permutation; the top bit of the index chooses the half.
struct ByteTable {
    __m512i t0, t1, t2, t3;
    explicit HWY_ATTR ByteTable(const u8* table)
        : t0(_mm512_loadu_si512(table)),
          t1(_mm512_loadu_si512(table + 64)),
          t2(_mm512_loadu_si512(table + 128)),
          t3(_mm512_loadu_si512(table + 192)) {}
    HWY_ATTR HWY_INLINE __m512i operator[](__m512i index) const {
        const __m512i low = _mm512_permutex2var_epi8(t0, index, t1);
        const __m512i high = _mm512_permutex2var_epi8(t2, index, t3);
        return _mm512_mask_blend_epi8(_mm512_movepi8_mask(index), low, high);
    }
};

HWY_ATTR void MapBytes(u8* dst, const u8* a, const u8* table, std::size_t count) {
    const ByteTable bytes(table);
    std::size_t i = 0;
    for (; i + 64 <= count; i += 64) _mm512_storeu_si512(dst + i, bytes[_mm512_loadu_si512(a + i)]);
    MapLoop<u8>(dst + i, a + i, table, count - i);
}

// Low and high bytes are looked up apart and interleaved, which works in quarters of a register: the indices are put
// into the order that makes up for it.
HWY_ATTR void MapWords(u16* dst, const u8* a, const u16* table, std::size_t count) {
    u8 parts[2][256];
    for (std::size_t k = 0; k < 256; ++k) {
        parts[0][k] = static_cast<u8>(table[k]);
        parts[1][k] = static_cast<u8>(table[k] >> 8);
    }
    const ByteTable low(parts[0]), high(parts[1]);
    const __m512i order = _mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7);
    std::size_t i = 0;
    for (; i + 64 <= count; i += 64) {
        const __m512i index = _mm512_permutexvar_epi64(order, _mm512_loadu_si512(a + i));
        const __m512i l = low[index], h = high[index];
        _mm512_storeu_si512(dst + i, _mm512_unpacklo_epi8(l, h));
        _mm512_storeu_si512(dst + i + 32, _mm512_unpackhi_epi8(l, h));
    }
    MapLoop<u16>(dst + i, a + i, table, count - i);
}
#else
constexpr TableRow<u8> MapBytes = &MapLoop<u8>;
constexpr TableRow<u16> MapWords = &MapLoop<u16>;
#endif

HWY_ATTR void MapPairs(u8* dst, const u8* a, const u8* b, const u8* table, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = table[a[i] * 256u + b[i]];
}

const TableKernels& Kernels() {
    static const TableKernels table{{MapBytes, MapWords}, &MapPairs};
    return table;
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::kernels {
HWY_EXPORT(Kernels);
const TableKernels& GetTableKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
