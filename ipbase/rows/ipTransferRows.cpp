#include "ipbase/rows/ipTransferRows.h"

#include <algorithm>
#include <cstring>

#include "ipbase/ipScalar.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/rows/ipTransferRows.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/rows/ipRowLoop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::rows::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

struct Convert {
    template <class D, class A>
    static HWY_INLINE D Do(A a) {
        return static_cast<D>(a);
    }
};

struct High {
    template <class D, class A>
    static HWY_INLINE D Do(A a) {
        if constexpr (sizeof(D) > sizeof(A))
            return static_cast<D>(D{a} << 8);
        else
            return static_cast<D>(a >> 8);
    }
};

// A block whose values all fit 32 bits, as nearly all do, needs no 64-bit conversion, which most targets lack.
constexpr std::size_t kBlock = 512;

HWY_ATTR inline bool FitsInt32(const float* a, std::size_t count) {
    std::int32_t largest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::int32_t bits;
        std::memcpy(&bits, a + i, sizeof bits);
        bits &= 0x7FFFFFFF;
        largest = bits > largest ? bits : largest;
    }
    return largest < 0x4F000000;  // 2^31
}

template <class D>
HWY_ATTR void TruncateLoop(D* dst, const float* a, std::size_t count) {
    for (std::size_t start = 0; start < count; start += kBlock) {
        const std::size_t end = std::min(count, start + kBlock);
        if (FitsInt32(a + start, end - start)) {
            VORIP_INDEPENDENT_LOOP
            for (std::size_t i = start; i < end; ++i) dst[i] = static_cast<D>(static_cast<std::int32_t>(a[i]));
        } else {
            for (std::size_t i = start; i < end; ++i) dst[i] = static_cast<D>(Truncate(static_cast<double>(a[i])));
        }
    }
}

template <class T>
HWY_ATTR void FillLoop(T* dst, T value, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) dst[i] = value;
}

template <class D, class A>
HWY_ATTR void BitLoop(D* dst, const A* src, const D* old, BitTransfer f, std::size_t count) {
    const int left = f.shift > 0 ? f.shift : 0;
    const int right = f.shift < 0 ? -f.shift : 0;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t t = (src[i] & f.mask) >> right << left;
        dst[i] = static_cast<D>((old[i] & (f.keep | (t & f.join))) | (t & f.set));
    }
}

template <class... T>
void FillAll(std::tuple<FillRow<T>...>& rows) {
    ((std::get<FillRow<T>>(rows) = &FillLoop<T>), ...);
}

template <class D, class A>
void AssignBits(BitRow<D, A>& row) {
    row = &BitLoop<D, A>;
}

const TransferRows& Rows() {
    static const TransferRows table = [] {
        TransferRows rows;
        Fill<Convert>(rows.convert);
        Fill<High>(rows.high);
        std::get<UnaryRow<u8, float>>(rows.truncate) = &TruncateLoop<u8>;
        std::get<UnaryRow<u16, float>>(rows.truncate) = &TruncateLoop<u16>;
        FillAll(rows.fill);
        std::apply([](auto&... row) { (AssignBits(row), ...); }, rows.bits);
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
const TransferRows& GetTransferRows() { return HWY_DYNAMIC_DISPATCH(Rows)(); }
}  // namespace KrN::rows
#endif
