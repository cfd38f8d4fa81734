#include "ipbase/kernels/arith.h"

#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/arith.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// Integer pixels are computed in a type no wider than the result needs, so that a vector holds the most of them; the
// clipped forms rest on min(a, ~b) + b and a - min(a, b), which cannot leave the type.
template <class T>
HWY_INLINE T Min(T a, T b) {
    return a < b ? a : b;
}
template <class T>
HWY_INLINE T Max(T a, T b) {
    return a < b ? b : a;
}
template <class T>
HWY_INLINE T SaturatedAdd(T a, T b) {
    return static_cast<T>(Min<T>(a, static_cast<T>(~b)) + b);  // a constant b is complemented only once
}
template <class T>
HWY_INLINE T SaturatedSub(T a, T b) {
    return static_cast<T>(a - Min<T>(a, b));
}
template <class T>
HWY_INLINE T Mean(T a, T b) {
    return static_cast<T>((a & b) + (static_cast<T>(a ^ b) >> 1));
}
template <class T>
inline constexpr T kCentre = static_cast<T>(T{1} << (8 * sizeof(T) - 1));

struct AddModulo {
    template <class D>
    static HWY_INLINE D Do(unsigned a, unsigned b) {
        return static_cast<D>(a + b);
    }
};
struct SubModulo {
    template <class D>
    static HWY_INLINE D Do(unsigned a, unsigned b) {
        return static_cast<D>(a - b);
    }
};
struct AddClip {
    template <class D>
    static HWY_INLINE D Do(D a, D b) {
        return SaturatedAdd<D>(a, b);
    }
};
struct SubClip {
    template <class D>
    static HWY_INLINE D Do(D a, D b) {
        return SaturatedSub<D>(a, b);
    }
};
struct MeanOp {
    template <class D>
    static HWY_INLINE D Do(D a, D b) {
        return Mean<D>(a, b);
    }
};
struct AbsDiff {
    template <class D>
    static HWY_INLINE D Do(D a, D b) {
        return static_cast<D>(Max<D>(a, b) - Min<D>(a, b));
    }
};
struct AbsDiffFloat {
    template <class D>
    static HWY_INLINE D Do(D a, D b) {
        return a < b ? b - a : a - b;
    }
};
struct HalfDiffCentred {
    template <class D>
    static HWY_INLINE D Do(D a, D b) {
        const D half = static_cast<D>(static_cast<D>(Max<D>(a, b) - Min<D>(a, b)) >> 1);
        return static_cast<D>(a < b ? kCentre<D> - half : kCentre<D> + half);
    }
};
struct HalfSumCentred {
    template <class D>
    static HWY_INLINE D Do(D a, D b) {
        return static_cast<D>(Mean<D>(a, b) + kCentre<D>);
    }
};
struct DiffCentred {
    template <class D>
    static HWY_INLINE D Do(D a, D b) {
        return static_cast<D>(a - b + kCentre<D>);
    }
};
struct Add {
    template <class D, class A, class B>
    static HWY_INLINE D Do(A a, B b) {
        return static_cast<D>(a + b);
    }
};
struct Sub {
    template <class D, class A, class B>
    static HWY_INLINE D Do(A a, B b) {
        return static_cast<D>(a - b);
    }
};

// With a constant the source may be wider than the destination: the sum is clipped in the wider type, then again.
template <class D, class A>
using Wider = std::conditional_t<(sizeof(D) > sizeof(A)), D, A>;
struct AddClipConstant {
    template <class D, class A>
    static HWY_INLINE D Do(A a, u16 k) {
        using W = Wider<D, A>;
        return static_cast<D>(Min<W>(SaturatedAdd<W>(a, static_cast<W>(k)), std::numeric_limits<D>::max()));
    }
};
struct SubClipConstant {
    template <class D, class A>
    static HWY_INLINE D Do(A a, u16 k) {
        using W = Wider<D, A>;
        return static_cast<D>(Min<W>(SaturatedSub<W>(a, static_cast<W>(k)), std::numeric_limits<D>::max()));
    }
};

// The saturating addition of the vector units, which GCC 12 does not find in the loop: it complements in place, so that
// each vector waits for the one before.
template <class T>
HWY_ATTR void AddClipLoop(T* dst, const T* a, const T* b, std::size_t count) {
    const hwy::HWY_NAMESPACE::ScalableTag<T> tag;
    const std::size_t lanes = Lanes(tag);
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) StoreU(SaturatedAdd(LoadU(tag, a + i), LoadU(tag, b + i)), tag, dst + i);
    for (; i < count; ++i) dst[i] = AddClip::Do<T>(a[i], b[i]);
}

const ArithKernels& Kernels() {
    static const ArithKernels table = [] {
        ArithKernels all;
        Fill<AddModulo>(all.addModulo);
        Fill<SubModulo>(all.subModulo);
        Fill<AddClip>(all.addClip);
        std::get<PairRow<u8, u8, u8>>(all.addClip) = &AddClipLoop<u8>;
        std::get<PairRow<u16, u16, u16>>(all.addClip) = &AddClipLoop<u16>;
        Fill<SubClip>(all.subClip);
        Fill<MeanOp>(all.mean);
        Fill<AbsDiff>(all.absDiff);
        Fill<HalfDiffCentred>(all.halfDiffCentred);
        Fill<HalfSumCentred>(all.halfSumCentred);
        Fill<Add>(all.addFloat);
        Fill<Sub>(all.subFloat);
        Assign<AbsDiffFloat>(all.absDiffFloat);
        Assign<DiffCentred>(all.diffCentred);
        Fill<AddModulo>(all.addModuloConstant);
        Fill<SubModulo>(all.subModuloConstant);
        Fill<AddClipConstant>(all.addClipConstant);
        Fill<SubClipConstant>(all.subClipConstant);
        Assign<Add>(all.addConstantFloat);
        Assign<Sub>(all.subConstantFloat);
        Assign<Sub>(all.subConstantDouble);
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
const ArithKernels& GetArithKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
