// Means of windows, once per CPU target.
#if defined(VORIP_MEANS_INL_H) == defined(HWY_TARGET_TOGGLE)
#  ifdef VORIP_MEANS_INL_H
#    undef VORIP_MEANS_INL_H
#  else
#    define VORIP_MEANS_INL_H
#  endif

#  include <algorithm>

#  include "ipbase/kernels/widesums-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

struct NarrowMean {
    using Sum = u16;
    using Pixel = u8;
    const Rounding& rounding;

#  if VORIP_VECTORS
    template <class D, class V>
    HWY_INLINE HWY_ATTR V Scaled(D d16, V sums) const {
        const V rounded = hn::Add(sums, hn::Set(d16, rounding.half));
        return hn::ShiftRightSame(hn::MulHigh(rounded, hn::Set(d16, rounding.factor)), rounding.shift);
    }
#  endif
    u8 One(u16 sum) const {
        return static_cast<u8>(((sum + rounding.half) * u32{rounding.factor}) >> (16 + rounding.shift));
    }
};
struct WideMean {
    using Sum = u32;
    using Pixel = u16;
    const Rounding& rounding;

#  if VORIP_VECTORS
    template <class D, class V>
    HWY_INLINE HWY_ATTR V Scaled(D d32, V sums) const {
        const hn::RebindToSigned<D> di32;
        return hn::BitCast(d32, RoundScaled(di32, hn::BitCast(di32, sums), rounding.scale));
    }
#  endif
    u16 One(u32 sum) const { return static_cast<u16>(static_cast<i32>(sum * rounding.scale + 0.5)); }
};

// Two vectors of sums give one of pixels.
template <class Mean>
struct IntegerMeans {
    using S = typename Mean::Sum;
    using T = typename Mean::Pixel;

#  if VORIP_VECTORS
    using D = hn::ScalableTag<T>;
    using H = hn::Half<D>;
    using DS = hn::Repartition<S, D>;

    static HWY_INLINE HWY_ATTR auto Load(const T* at) { return hn::PromoteTo(DS(), hn::LoadU(H(), at)); }
    template <class V>
    static HWY_INLINE HWY_ATTR void Store(const Mean& mean, V low, V high, T* dst) {
        const auto a = hn::BitCast(D(), mean.Scaled(DS(), low)), b = hn::BitCast(D(), mean.Scaled(DS(), high));
        hn::StoreU(hn::ConcatEven(D(), b, a), D(), dst);
    }
#  endif

    static HWY_ATTR void Taps(T* dst, const T* const* taps, std::size_t tapCount, const Rounding& rounding,
                              std::size_t count) {
        const Mean mean{rounding};
#  if VORIP_VECTORS
        const std::size_t n = hn::Lanes(D());
        const bool done = Stride(count, n, [&](std::size_t i) HWY_ATTR {
            auto a = Load(taps[0] + i), b = Load(taps[0] + i + n / 2);
            for (std::size_t k = 1; k < tapCount; ++k) {
                a = hn::Add(a, Load(taps[k] + i));
                b = hn::Add(b, Load(taps[k] + i + n / 2));
            }
            Store(mean, a, b, dst + i);
        });
        if (done) return;
#  endif
        for (std::size_t i = 0; i < count; ++i) {
            S sum = 0;
            for (std::size_t k = 0; k < tapCount; ++k) sum = static_cast<S>(sum + taps[k][i]);
            dst[i] = mean.One(sum);
        }
    }
    static HWY_ATTR void Slide(T* dst, S* sums, const T* added, const T* removed, const Rounding& rounding,
                               std::size_t count) {
        const Mean mean{rounding};
        std::size_t i = 0;
#  if VORIP_VECTORS
        const std::size_t n = hn::Lanes(D());
        for (; i + n <= count; i += n) {
            const auto a = hn::Add(hn::LoadU(DS(), sums + i), Load(added + i));
            const auto b = hn::Add(hn::LoadU(DS(), sums + i + n / 2), Load(added + i + n / 2));
            hn::StoreU(hn::Sub(a, Load(removed + i)), DS(), sums + i);
            hn::StoreU(hn::Sub(b, Load(removed + i + n / 2)), DS(), sums + i + n / 2);
            Store(mean, a, b, dst + i);
        }
#  endif
        for (; i < count; ++i) {
            const auto sum = static_cast<S>(sums[i] + added[i]);
            dst[i] = mean.One(sum);
            sums[i] = static_cast<S>(sum - removed[i]);
        }
    }
    static HWY_ATTR void Differences(T* dst, const S* prefix, std::size_t taps, const Rounding& rounding,
                                     std::size_t count) {
        const Mean mean{rounding};
#  if VORIP_VECTORS
        const std::size_t n = hn::Lanes(D());
        const auto load = [=](std::size_t i) HWY_ATTR {
            return hn::Sub(hn::LoadU(DS(), prefix + taps + i), hn::LoadU(DS(), prefix + i));
        };
        if (Stride(count, n, [&](std::size_t i) HWY_ATTR { Store(mean, load(i), load(i + n / 2), dst + i); })) return;
#  endif
        for (std::size_t i = 0; i < count; ++i) dst[i] = mean.One(static_cast<S>(prefix[i + taps] - prefix[i]));
    }
};

// Sums of whole numbers in doubles are exact as well, so that they may slide.
template <class T>
struct DoubleMeans {
    static HWY_ATTR void Taps(T* dst, const T* const* taps, std::size_t tapCount, const Rounding& rounding,
                              std::size_t count) {
        for (std::size_t start = 0; start < count; start += kBlock) {
            const std::size_t n = std::min(kBlock, count - start);
            double sums[kBlock] = {};
            for (std::size_t k = 0; k < tapCount; ++k)
                for (std::size_t i = 0; i < n; ++i) sums[i] += taps[k][start + i];
            for (std::size_t i = 0; i < n; ++i) sums[i] *= rounding.scale;
            RoundBlock(dst + start, sums, n);
        }
    }
    static HWY_ATTR void Slide(T* dst, double* sums, const T* added, const T* removed, const Rounding& rounding,
                               std::size_t count) {
        for (std::size_t start = 0; start < count; start += kBlock) {
            const std::size_t n = std::min(kBlock, count - start);
            double scaled[kBlock];
            for (std::size_t i = 0; i < n; ++i) {
                const double sum = sums[start + i] + added[start + i];
                scaled[i] = sum * rounding.scale;
                sums[start + i] = sum - removed[start + i];
            }
            RoundBlock(dst + start, scaled, n);
        }
    }
    static HWY_ATTR void Differences(T* dst, const double* prefix, std::size_t taps, const Rounding& rounding,
                                     std::size_t count) {
        for (std::size_t start = 0; start < count; start += kBlock) {
            const std::size_t n = std::min(kBlock, count - start);
            double scaled[kBlock];
            for (std::size_t i = 0; i < n; ++i)
                scaled[i] = (prefix[start + taps + i] - prefix[start + i]) * rounding.scale;
            RoundBlock(dst + start, scaled, n);
        }
    }
};

template <class T, class S>
HWY_ATTR void AddLoop(S* sums, const T* added, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) sums[i] = static_cast<S>(sums[i] + added[i]);
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
