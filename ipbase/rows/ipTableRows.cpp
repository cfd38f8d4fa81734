#include "ipbase/rows/ipTableRows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/rows/ipTableRows.cpp"
#define HWY_WANT_AVX3_DL
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_SSE4 | HWY_AVX2 | HWY_AVX3)
#include <hwy/foreach_target.h>

#include "ipbase/rows/ipRowLoop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::rows::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

template <class D>
HWY_ATTR void MapLoop(D* dst, const u8* a, const D* table, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = table[a[i]];
}

#if HWY_TARGET == HWY_AVX3_DL
// Half of the table fits the two registers of one byte permutation; the top bit of the index chooses the half.
HWY_ATTR void MapBytes(u8* dst, const u8* a, const u8* table, std::size_t count) {
    const __m512i t0 = _mm512_loadu_si512(table), t1 = _mm512_loadu_si512(table + 64);
    const __m512i t2 = _mm512_loadu_si512(table + 128), t3 = _mm512_loadu_si512(table + 192);
    std::size_t i = 0;
    for (; i + 64 <= count; i += 64) {
        const __m512i index = _mm512_loadu_si512(a + i);
        const __m512i low = _mm512_permutex2var_epi8(t0, index, t1);
        const __m512i high = _mm512_permutex2var_epi8(t2, index, t3);
        _mm512_storeu_si512(dst + i, _mm512_mask_blend_epi8(_mm512_movepi8_mask(index), low, high));
    }
    MapLoop<u8>(dst + i, a + i, table, count - i);
}
#else
constexpr TableRow<u8> MapBytes = &MapLoop<u8>;
#endif

HWY_ATTR void MapPairs(u8* dst, const u8* a, const u8* b, const u8* table, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = table[a[i] * 256u + b[i]];
}

const TableRows& Rows() {
    static const TableRows table{{MapBytes, &MapLoop<u16>}, &MapPairs};
    return table;
}

}  // namespace
}  // namespace KrN::rows::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::rows {
HWY_EXPORT(Rows);
const TableRows& GetTableRows() { return HWY_DYNAMIC_DISPATCH(Rows)(); }
}  // namespace KrN::rows
#endif
