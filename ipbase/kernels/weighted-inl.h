// Weighted sums of windows, once per CPU target. The narrower the sums, the more of them a vector holds; each loop is
// taken where its sums are exact, so that all give the same pixels.
#if defined(VORIP_WEIGHTED_INL_H) == defined(HWY_TARGET_TOGGLE)
#  ifdef VORIP_WEIGHTED_INL_H
#    undef VORIP_WEIGHTED_INL_H
#  else
#    define VORIP_WEIGHTED_INL_H
#  endif

#  include <algorithm>
#  include <cmath>

#  include "ipbase/kernels/widesums-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// For any weights: doubles hold all sums of 32-bit products. A block of sums stays in the first-level cache while tap
// after tap is added to it.
template <class T>
HWY_ATTR void DoubleLoop(T* dst, const T* const* taps, const i32* weights, std::size_t tapCount, double scale,
                         std::size_t count) {
    for (std::size_t start = 0; start < count; start += kBlock) {
        const std::size_t n = std::min(kBlock, count - start);
        double sums[kBlock] = {};
        SumBlock(sums, taps, start, weights, tapCount, n);
        for (std::size_t i = 0; i < n; ++i) sums[i] *= scale;
        RoundBlock(dst + start, sums, n);
    }
}

#  if VORIP_VECTORS

// What decides how a weighted sum of 8- or 16-bit samples is computed.
struct Weights : WeightTotals {
    const i32* at;
    std::size_t count;
    const Rounding& rounding;
    int shift = -1;  // of a scale of 2^-shift
    bool symmetric = true;

    Weights(const i32* weights, std::size_t taps, const Rounding& rule)
        : WeightTotals(weights, taps), at(weights), count(taps), rounding(rule) {
        for (std::size_t k = 0; k < count / 2; ++k) symmetric = symmetric && at[k] == at[count - 1 - k];
        int exponent = 0;
        // Beyond, the half that rounds does not fit beside the largest sum.
        constexpr int most = 18;
        if (std::frexp(rounding.scale, &exponent) == 0.5 && exponent <= 1 && exponent > -most) shift = 1 - exponent;
    }
    i32 Half() const { return shift > 0 ? 1 << (shift - 1) : 0; }
    bool FitIn16Bits() const {
        return rounding.factor != 0 || (shift >= 0 && sum == magnitude && magnitude * 255 + Half() < 65536);
    }
    bool FitIn32Bits() const {
        return magnitude < 32767 && 65535.0 * 32767.0 * std::abs(rounding.scale) < 2147483646.0;
    }
};

// Bytes with sums of 16 bits, rounded and shifted. Samples that share a weight are added before they are multiplied;
// that is exact here, where all sums fit.
HWY_ATTR bool NarrowLoop(u8* dst, const u8* const* taps, const Weights& weights, std::size_t count) {
    const hn::ScalableTag<u8> d8;
    const hn::Half<decltype(d8)> half8;
    const hn::Repartition<u16, decltype(d8)> d16;
    const std::size_t n = hn::Lanes(d8);
    const std::size_t pairs = weights.symmetric ? weights.count / 2 : 0, last = weights.count - 1;
    const auto load = [=](const u8* at) HWY_ATTR { return hn::PromoteTo(d16, hn::LoadU(half8, at)); };
    const auto half = hn::Set(d16, weights.shift >= 0 ? static_cast<u16>(weights.Half()) : weights.rounding.half);
    const auto factor = hn::Set(d16, weights.rounding.factor);
    const auto finish = [=, &weights](auto sums) HWY_ATTR {
        if (weights.shift >= 0) return hn::ShiftRightSame(sums, weights.shift);
        return hn::ShiftRightSame(hn::MulHigh(sums, factor), weights.rounding.shift);
    };
    return Stride(count, n, [&](std::size_t i) HWY_ATTR {
        auto a = half, b = half;
        for (std::size_t k = 0; k < pairs; ++k) {
            const auto w = hn::Set(d16, static_cast<u16>(weights.at[k]));
            const u8 *left = taps[k] + i, *right = taps[last - k] + i;
            a = hn::Add(a, hn::Mul(hn::Add(load(left), load(right)), w));
            b = hn::Add(b, hn::Mul(hn::Add(load(left + n / 2), load(right + n / 2)), w));
        }
        for (std::size_t k = pairs; k < weights.count - pairs; ++k) {
            const auto w = hn::Set(d16, static_cast<u16>(weights.at[k]));
            a = hn::Add(a, hn::Mul(load(taps[k] + i), w));
            b = hn::Add(b, hn::Mul(load(taps[k] + i + n / 2), w));
        }
        hn::StoreU(hn::ConcatEven(d8, hn::BitCast(d8, finish(b)), hn::BitCast(d8, finish(a))), d8, dst + i);
    });
}

// Sums of 32 bits: an instruction multiplies two 16-bit samples by their weights and adds both products to a sum.
template <class T>
HWY_ATTR bool WideLoop(T* dst, const T* const* taps, const Weights& weights, std::size_t count) {
    const hn::ScalableTag<std::int16_t> d16;
    const hn::Repartition<i32, decltype(d16)> d32;
    const PackedWeights packed(weights.at, weights.count);
    if (packed.count == 0) return false;
    const std::size_t n = hn::Lanes(d16);
    const auto half = hn::Set(d32, weights.Half());
    const auto finish = [&](auto sums) HWY_ATTR {
        return weights.shift >= 0 ? RoundShifted(sums, weights.shift, half)
                                  : RoundScaled(d32, sums, weights.rounding.scale);
    };
    const auto start = hn::Set(d32, StartOfSums<T>(weights.sum));
    return StrideInPairs(count, n, [&](auto many, std::size_t i) HWY_ATTR {
        PairSums<T> sums[decltype(many)::value];
        for (std::size_t v = 0; v < many; ++v) sums[v] = PairSums<T>(start);
        for (std::size_t k = 0; k < packed.count; ++k)
            for (std::size_t v = 0; v < many; ++v) sums[v].Add(packed, taps, k, i + v * n);
        for (std::size_t v = 0; v < many; ++v)
            StoreLow(d16, LowBits(d16, finish(sums[v].Low()), finish(sums[v].High())), dst + i + v * n);
    });
}

#  endif

template <class T>
HWY_ATTR void WeightedLoop(T* dst, const T* const* taps, const i32* at, std::size_t tapCount, const Rounding& rounding,
                           std::size_t count) {
#  if VORIP_VECTORS
    if constexpr (sizeof(T) < 4) {
        const Weights weights(at, tapCount, rounding);
        if constexpr (sizeof(T) == 1)
            if (weights.FitIn16Bits() && NarrowLoop(dst, taps, weights, count)) return;
        if (weights.FitIn32Bits() && WideLoop(dst, taps, weights, count)) return;
    }
#  endif
    DoubleLoop(dst, taps, at, tapCount, rounding.scale, count);
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // per-target include guard
