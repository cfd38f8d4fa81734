#include "ipbase/kernels/scale.h"

#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/scale.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

template <class T>
HWY_INLINE T Min(T a, T b) {
    return a < b ? a : b;
}
template <class T>
HWY_INLINE T Max(T a, T b) {
    return a < b ? b : a;
}

// Clipped as integers: chains of comparisons of floating-point values are turned into branches.
struct MultiplyClip {
    template <class D>
    static HWY_INLINE D Do(u16 a, double k) {
        const auto v = static_cast<std::int32_t>(a * k + 0.5);
        return static_cast<D>(Min<std::int32_t>(Max<std::int32_t>(v, 0), std::numeric_limits<D>::max()));
    }
};

// floor without the rounding instructions that the oldest targets lack: truncate, then correct negative values.
struct MultiplyModulo {
    template <class D>
    static HWY_INLINE D Do(u16 a, double k) {
        const double v = a * k + 0.5;
        const auto truncated = static_cast<std::int32_t>(v);
        return static_cast<D>(truncated - (v < truncated ? 1 : 0));
    }
};

struct Negate {
    template <class D>
    static HWY_INLINE D Do(D a) {
        return static_cast<D>(-a);
    }
};

struct MultiplyFloat {
    template <class D, class A, class K>
    static HWY_INLINE D Do(A a, K k) {
        return static_cast<D>(a * k);
    }
};

struct StretchOp {
    template <class D, class T>
    static HWY_INLINE D Do(float a, Stretch<T> s) {
        return static_cast<D>((a - s.least) * s.factor + s.low);
    }
};

struct Binarize {
    template <class D>
    static HWY_INLINE D Do(D a, Binary<D> k) {
        return a < k.threshold ? k.low : k.high;
    }
};

struct WindowOp {
    template <class D, class A, class T>
    static HWY_INLINE D Do(A a, Window<T> w) {
        const T v = static_cast<T>(a);
        const T inside = v > w.lower ? v : w.lower;  // also for NaN
        const T scaled = sizeof(T) == sizeof(float) ? (inside - w.lower) * (T{1} / w.range) * T{255}
                                                    : (inside - w.lower) * T{255} / w.range;
        const T raised = inside < w.upper ? scaled : T{255};
        return static_cast<D>(Min<std::int32_t>(static_cast<std::int32_t>(raised), 255) & w.mask);
    }
};

// Many lanes of running extremes, which the compiler keeps in vectors.
template <class T>
HWY_ATTR void RangeLoop(const T* a, std::size_t count, Extremes<T>& extremes) {
    constexpr std::size_t lanes = 256 / sizeof(T);
    T least[lanes], greatest[lanes];
    for (std::size_t k = 0; k < lanes; ++k) {
        least[k] = extremes.least;
        greatest[k] = extremes.greatest;
    }
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes)
        for (std::size_t k = 0; k < lanes; ++k) {
            const T v = a[i + k];
            least[k] = v < least[k] ? v : least[k];
            greatest[k] = v > greatest[k] ? v : greatest[k];
        }
    for (std::size_t k = 0; i < count; ++i, ++k) {
        const T v = a[i];
        least[k] = v < least[k] ? v : least[k];
        greatest[k] = v > greatest[k] ? v : greatest[k];
    }
    for (std::size_t k = 0; k < lanes; ++k) {
        extremes.least = least[k] < extremes.least ? least[k] : extremes.least;
        extremes.greatest = greatest[k] > extremes.greatest ? greatest[k] : extremes.greatest;
    }
}

template <class T>
void AssignRange(RangeRow<T>& row) {
    row = &RangeLoop<T>;
}

const ScaleKernels& Kernels() {
    static const ScaleKernels table = [] {
        ScaleKernels all;
        Fill<MultiplyClip>(all.multiplyClip);
        Fill<MultiplyModulo>(all.multiplyModulo);
        Assign<Negate>(all.negate);
        Fill<MultiplyFloat>(all.multiplyFloat);
        Assign<StretchOp>(all.stretch);
        Assign<StretchOp>(all.stretchDouble);
        Fill<Binarize>(all.binarize);
        Fill<WindowOp>(all.window);
        std::apply([](auto&... row) { (AssignRange(row), ...); }, all.range);
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
const ScaleKernels& GetScaleKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
