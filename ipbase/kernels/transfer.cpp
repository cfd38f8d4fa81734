#include "ipbase/kernels/transfer.h"

#include <algorithm>
#include <cstring>

#include "ipbase/base/scalar.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/transfer.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
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

// Shifts as 16-bit products, of which every target has vectors: to the left in the low, to the right in the high half.
template <bool right, bool plain, class D, class A>
HWY_ATTR void MoveLoop(D* dst, const A* src, const D* old, BitTransfer f, std::size_t count) {
    const auto factor = static_cast<u16>(right ? std::uint32_t{0x10000} >> -f.shift : std::uint32_t{1} << f.shift);
    const auto mask = static_cast<u16>(f.mask), keep = static_cast<u16>(f.keep);
    const auto join = static_cast<u16>(f.join), set = static_cast<u16>(f.set);
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const auto product = std::uint32_t{static_cast<u16>(src[i] & mask)} * factor;
        const auto t = static_cast<u16>(right ? product >> 16 : product);
        dst[i] = static_cast<D>(plain ? t : (old[i] & (keep | (t & join))) | (t & set));
    }
}

template <class D, class A>
HWY_ATTR void BitLoop(D* dst, const A* src, const D* old, BitTransfer f, std::size_t count) {
    const bool plain = f.keep == 0 && f.join == 0 && f.set == ~0u;
    if (f.shift < 0)
        plain ? MoveLoop<true, true>(dst, src, old, f, count) : MoveLoop<true, false>(dst, src, old, f, count);
    else
        plain ? MoveLoop<false, true>(dst, src, old, f, count) : MoveLoop<false, false>(dst, src, old, f, count);
}

template <class... T>
void FillAll(std::tuple<FillRow<T>...>& rows) {
    ((std::get<FillRow<T>>(rows) = &FillLoop<T>), ...);
}

template <class D, class A>
void AssignBits(BitRow<D, A>& row) {
    row = &BitLoop<D, A>;
}

const TransferKernels& Kernels() {
    static const TransferKernels table = [] {
        TransferKernels all;
        Fill<Convert>(all.convert);
        Fill<High>(all.high);
        std::get<UnaryRow<u8, float>>(all.truncate) = &TruncateLoop<u8>;
        std::get<UnaryRow<u16, float>>(all.truncate) = &TruncateLoop<u16>;
        FillAll(all.fill);
        std::apply([](auto&... row) { (AssignBits(row), ...); }, all.bits);
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
const TransferKernels& GetTransferKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
