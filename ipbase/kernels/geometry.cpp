#include "ipbase/kernels/geometry.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "ipbase/base/interpolation.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/geometry.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

constexpr std::size_t kChunk = 256;  // pixels whose sums stay in the first-level cache

template <std::size_t taps, class R, class S>
HWY_ATTR void BlendFixed(R* dst, const S* const* rows, const R* weights, std::size_t start, std::size_t end) {
    const S *a = rows[0], *b = rows[taps > 1 ? 1 : 0], *c = rows[taps > 2 ? 2 : 0], *d = rows[taps > 3 ? 3 : 0];
    const R wa = weights[0], wb = weights[taps > 1 ? 1 : 0], wc = weights[taps > 2 ? 2 : 0],
            wd = weights[taps > 3 ? 3 : 0];
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = start; i < end; ++i) {
        R sum = static_cast<R>(a[i]) * wa;
        if constexpr (taps > 1) sum += static_cast<R>(b[i]) * wb;
        if constexpr (taps > 2) sum += static_cast<R>(c[i]) * wc + static_cast<R>(d[i]) * wd;
        dst[i] = sum;
    }
}

template <class R, class S>
HWY_ATTR void BlendLoop(R* dst, const S* const* rows, const R* weights, std::size_t taps, std::size_t count) {
    if (taps == 1) return BlendFixed<1>(dst, rows, weights, 0, count);
    if (taps == 2) return BlendFixed<2>(dst, rows, weights, 0, count);
    if (taps == 4) return BlendFixed<4>(dst, rows, weights, 0, count);
    for (std::size_t start = 0; start < count; start += kChunk) {
        const std::size_t end = std::min(count, start + kChunk);
        BlendFixed<1>(dst, rows, weights, start, end);
        for (std::size_t k = 1; k < taps; ++k) {
            const S* row = rows[k];
            const R weight = weights[k];
            VORIP_INDEPENDENT_LOOP
            for (std::size_t i = start; i < end; ++i) dst[i] += static_cast<R>(row[i]) * weight;
        }
    }
}

// Of the pixels from start to end; `count` is the distance between the weights of one tap and the next.
template <class R>
HWY_ATTR void GatherPart(R* dst, const R* src, const i32* first, const R* weights, std::size_t taps, std::size_t count,
                         std::size_t start, std::size_t end) {
    for (std::size_t k = 0; k < taps; ++k) {
        const R *moved = src + k, *factors = weights + k * count;
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = start; i < end; ++i) {
            const R product = moved[first[i]] * factors[i];
            dst[i] = k == 0 ? product : dst[i] + product;
        }
    }
}
template <class R>
HWY_ATTR void GatherLoop(R* dst, const R* src, const i32* first, const R* weights, std::size_t taps,
                         std::size_t count) {
    GatherPart(dst, src, first, weights, taps, count, 0, count);
}

#if VORIP_VECTORS
// The first tap of as many pixels as a vector holds; those that lie in the second vector behind `from` are marked.
template <class D>
struct NearPlaces {
    using Index = decltype(hn::IndicesFromVec(D(), hn::Zero(hn::RebindToSigned<D>())));
    Index index;
    hn::Mask<D> second;

    HWY_INLINE HWY_ATTR NearPlaces(const i32* first) : index(), second() {
        const D d;
        const hn::RebindToSigned<D> di;
        const auto lanes = static_cast<i32>(hn::Lanes(d));
        const auto places = hn::Sub(hn::LoadU(di, first), hn::Set(di, first[0]));
        index = hn::IndicesFromVec(d, hn::And(places, hn::Set(di, lanes - 1)));
        second = hn::RebindMask(d, hn::Gt(places, hn::Set(di, lanes - 1)));
    }
    template <bool isWide>
    HWY_INLINE HWY_ATTR hn::Vec<D> Take(const float* from) const {
        const D d;
        const auto near = hn::TableLookupLanes(hn::LoadU(d, from), index);
        if constexpr (!isWide) return near;
        return hn::IfThenElse(second, hn::TableLookupLanes(hn::LoadU(d, from + hn::Lanes(d)), index), near);
    }
};

// Where the taps of neighbouring pixels lie close together, as they do unless an image shrinks much, they are taken out
// of one or two vectors: gathering them from memory takes several times as long.
template <std::size_t kTaps>
HWY_ATTR void GatherNear(float* dst, const float* src, const i32* first, const float* weights, std::size_t taps,
                         std::size_t count) {
    const hn::ScalableTag<float> d;
    const std::size_t lanes = hn::Lanes(d), known = kTaps > 0 ? kTaps : taps;
    const i32 last = count > 0 ? first[count - 1] : 0;
    std::size_t i = 0;
    for (; i + lanes <= count; i += lanes) {
        const i32 reach = first[i + lanes - 1] - first[i];
        const i32 vectors = reach < static_cast<i32>(lanes) ? 1 : 2;
        const i32 readable = last - first[i] + 1;
        if (reach >= 2 * static_cast<i32>(lanes) || vectors * static_cast<i32>(lanes) > readable) {
            GatherPart(dst, src, first, weights, taps, count, i, i + lanes);
            continue;
        }
        const NearPlaces<decltype(d)> places(first + i);
        const float* from = src + first[i];
        const auto sum = [&](auto isWide) HWY_ATTR {
            const auto product = [&](std::size_t k) HWY_ATTR {
                return hn::Mul(places.template Take<decltype(isWide)::value>(from + k),
                               hn::LoadU(d, weights + k * count + i));
            };
            auto total = product(0);
            for (std::size_t k = 1; k < known; ++k) total = hn::Add(total, product(k));
            hn::StoreU(total, d, dst + i);
        };
        vectors == 1 ? sum(std::false_type()) : sum(std::true_type());
    }
    GatherPart(dst, src, first, weights, taps, count, i, count);
}
template <>
HWY_ATTR void GatherLoop(float* dst, const float* src, const i32* first, const float* weights, std::size_t taps,
                         std::size_t count) {
    if (taps == 2) return GatherNear<2>(dst, src, first, weights, taps, count);
    if (taps == 4) return GatherNear<4>(dst, src, first, weights, taps, count);
    GatherNear<0>(dst, src, first, weights, taps, count);
}
#endif

// The chunk stays in the first-level cache from tap to tap; a known step lets pixels be taken by shuffles.
template <std::size_t step, class R>
HWY_ATTR void StrideFixed(R* dst, const R* src, const R* weights, std::size_t taps, std::size_t count) {
    for (std::size_t start = 0; start < count; start += kChunk) {
        const std::size_t end = std::min(count, start + kChunk);
        for (std::size_t k = 0; k < taps; ++k) {
            const R *moved = src + k, weight = weights[k];
            VORIP_INDEPENDENT_LOOP
            for (std::size_t i = start; i < end; ++i) {
                const R product = moved[step * i] * weight;
                dst[i] = k == 0 ? product : dst[i] + product;
            }
        }
    }
}
template <class R>
HWY_ATTR void StrideLoop(R* dst, const R* src, std::size_t step, const R* weights, std::size_t taps,
                         std::size_t count) {
    if (step == 2) return StrideFixed<2>(dst, src, weights, taps, count);
    if (step == 3) return StrideFixed<3>(dst, src, weights, taps, count);
    if (step == 4) return StrideFixed<4>(dst, src, weights, taps, count);
    for (std::size_t i = 0; i < count; ++i) {
        const R* from = src + step * i;
        R sum = from[0] * weights[0];
        for (std::size_t k = 1; k < taps; ++k) sum += from[k] * weights[k];
        dst[i] = sum;
    }
}

template <class S>
HWY_ATTR void PickLoop(S* dst, const S* src, const i32* index, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) dst[i] = src[index[i]];
}

struct Round {
    template <class D, class R>
    static HWY_INLINE D Do(R v) {
        constexpr R least = static_cast<R>(std::numeric_limits<D>::lowest());
        constexpr R greatest = static_cast<R>(std::numeric_limits<D>::max());
        if constexpr (std::is_unsigned_v<D>) {
            v += R(0.5);
            v = v > least ? v : least;
            return static_cast<D>(static_cast<i32>(v < greatest ? v : greatest));
        } else {
            v = v == v ? v : R{0};
            v = v > least ? v : least;
            v = v < greatest ? v : greatest;
            const R whole = static_cast<R>(static_cast<i32>(v)), rest = v - whole;
            // The ends of the type are whole numbers, beyond which nothing is added.
            return static_cast<D>(static_cast<i32>(whole) + (rest >= R(0.5) ? 1 : 0) - (rest < R(-0.5) ? 1 : 0));
        }
    }
};

// Chunk by chunk, so that one that is not finite ends the search soon.
template <class R>
HWY_ATTR bool FiniteLoop(const R* values, std::size_t count) {
    bool all = true;
    for (std::size_t start = 0; start < count && all; start += kChunk) {
        const std::size_t end = std::min(count, start + kChunk);
        int bad = 0;
        for (std::size_t i = start; i < end; ++i) bad |= !(std::abs(values[i]) <= std::numeric_limits<R>::max());
        all = bad == 0;
    }
    return all;
}

template <class T>
HWY_ATTR void ReverseLoop(T* dst, const T* src, std::size_t count) {
    const T* last = src + count;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) dst[i] = last[-1 - static_cast<std::ptrdiff_t>(i)];
}

template <class T>
const T* Moved(const T* p, std::ptrdiff_t bytes) {
    return reinterpret_cast<const T*>(reinterpret_cast<const char*>(p) + bytes);
}
template <class T>
T* Moved(T* p, std::ptrdiff_t bytes) {
    return reinterpret_cast<T*>(reinterpret_cast<char*>(p) + bytes);
}

// Some rows of the source side by side, so that the destination is written in runs.
template <class T>
HWY_ATTR void TransposeLoop(T* dst, std::ptrdiff_t dstStride, const T* src, std::ptrdiff_t srcStride,
                            std::size_t columns, std::size_t rows) {
    constexpr std::size_t kRun = sizeof(T) == 8 ? 4 : 8;
    const auto at = [](std::size_t n) { return static_cast<std::ptrdiff_t>(n); };
    const auto move = [=](std::size_t x, auto run) HWY_ATTR {
        const T* from[decltype(run)::value];
        for (std::size_t i = 0; i < run; ++i) from[i] = Moved(src, at(x + i) * srcStride);
        for (std::size_t y = 0; y < rows; ++y) {
            T line[decltype(run)::value];
            for (std::size_t i = 0; i < run; ++i) line[i] = from[i][y];
            std::memcpy(Moved(dst, at(y) * dstStride) + x, line, sizeof line);
        }
    };
    std::size_t x = 0;
    for (; x + kRun <= columns; x += kRun) move(x, std::integral_constant<std::size_t, kRun>());
    for (; x < columns; ++x) move(x, std::integral_constant<std::size_t, 1>());
}

// Values between pixels, of `taps` x `taps` of them. A chunk at a time: where they lie and their distances are found in
// vectors, the pixels are moved one run after the other, and the values are computed in vectors again.
template <class R, class S, int taps>
class Cells {
public:
    static constexpr std::size_t kCells = 64;

    // The first `count` positions. Where a tap lies outside, or the position is NaN, the distance is NaN.
    HWY_ATTR void Take(const PixelPlane<S>& plane, const double* x, const double* y, std::size_t count) {
        const double endX = plane.width - (taps - 1 - kBefore), endY = plane.height - (taps - 1 - kBefore);
        i32 left[kCells], top[kCells];
        for (std::size_t i = 0; i < count; ++i) {
            left[i] = Split(x[i], endX, mAcross[i]);
            top[i] = Split(y[i], endY, mDown[i]);
        }
        for (std::size_t i = 0; i < count; ++i) {
            const S* from = plane.Row(top[i] - kBefore) + (left[i] - kBefore);
            for (int k = 0; k < taps; ++k, from = Moved(from, plane.stride))
                std::memcpy(mPixels[k] + taps * i, from, taps * sizeof(S));
        }
    }
    HWY_ATTR void Interpolate(R* dst, std::size_t count) const {
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = 0; i < count; ++i) {
            R u[taps], v[taps];
            Weigh(mAcross[i], u);
            Weigh(mDown[i], v);
            R sum = 0;
            for (int k = 0; k < taps; ++k) {
                const S* row = mPixels[k] + taps * i;
                R line = static_cast<R>(row[0]) * u[0];
                for (int j = 1; j < taps; ++j) line += static_cast<R>(row[j]) * u[j];
                sum = k == 0 ? line * v[0] : sum + line * v[k];
            }
            dst[i] = sum;
        }
    }

private:
    static constexpr int kBefore = taps / 2 - 1;  // taps left of and above a position

    static HWY_INLINE HWY_ATTR i32 Split(double position, double end, R& distance) {
        double inside = position >= kBefore ? position : kBefore;
        inside = inside < end ? inside : kBefore;
        const i32 whole = static_cast<i32>(inside);
        const double outside = inside == position ? 0.0 : std::numeric_limits<double>::quiet_NaN();
        distance = static_cast<R>(inside - whole + outside);
        return whole;
    }
    static HWY_INLINE HWY_ATTR void Weigh(R t, R* weights) {
        if constexpr (taps == 2) {
            weights[0] = R{1} - t;
            weights[1] = t;
        } else {
            CubicWeights(t, weights);
        }
    }

    S mPixels[taps][taps * kCells];
    R mAcross[kCells], mDown[kCells];
};

template <int taps, class R, class S>
HWY_ATTR void WarpLoop(R* dst, const PixelPlane<S>& src, const double* x, const double* y, std::size_t count) {
    const PixelPlane<S> plane = src;
    if (plane.width < taps || plane.height < taps)
        return static_cast<void>(std::fill_n(dst, count, std::numeric_limits<R>::quiet_NaN()));
    using Chunk = Cells<R, S, taps>;
    Chunk cells;
    for (std::size_t start = 0; start < count; start += Chunk::kCells) {
        const std::size_t size = std::min(Chunk::kCells, count - start);
        cells.Take(plane, x + start, y + start, size);
        cells.Interpolate(dst + start, size);
    }
}

// The way from a to b by the shorter arc; half a period counts as negative.
HWY_INLINE int Arc(u8 a, u8 b, float) { return static_cast<std::int8_t>(static_cast<u8>(b - a)); }
HWY_INLINE int Arc(u16 a, u16 b, float) { return static_cast<std::int16_t>(static_cast<u16>(b - a)); }
template <class R>
HWY_INLINE R Arc(R a, R b, R period) {
    const R d = b - a;
    return d - period * std::floor(d / period + R(0.5));
}
template <class R>
HWY_INLINE R Reduce(R v, R period) {
    v -= period * std::floor(v / period);
    return v >= 0 && v < period ? v : R{0} * v;  // what rounding brings to the period itself is 0, NaN stays
}

// Differences of words times weights of 15 bits, as most CPUs have in one instruction.
HWY_ATTR void CyclicPairs(u16* dst, const u16* a, const u16* b, std::int16_t weight, std::size_t count) {
    std::size_t i = 0;
#if VORIP_VECTORS
    const hn::ScalableTag<std::int16_t> d;
    const hn::RebindToUnsigned<decltype(d)> du;
    const auto factor = hn::Set(d, weight);
    for (; i + hn::Lanes(d) <= count; i += hn::Lanes(d)) {
        const auto first = hn::BitCast(d, hn::LoadU(du, a + i)),
                   way = hn::Sub(hn::BitCast(d, hn::LoadU(du, b + i)), first);
        hn::StoreU(hn::BitCast(du, hn::Add(first, hn::MulFixedPoint15(way, factor))), du, dst + i);
    }
#endif
    for (; i < count; ++i) {
        const auto way = static_cast<std::int16_t>(static_cast<u16>(b[i] - a[i]));
        dst[i] = static_cast<u16>(a[i] + static_cast<u16>(((static_cast<i32>(way) * weight >> 14) + 1) >> 1));
    }
}

template <class T>
HWY_ATTR void CyclicLoop(T* dst, const T* const* rows, const CyclicWeights& w, std::size_t count) {
    using R = std::conditional_t<std::is_same_v<T, double>, double, float>;
    const auto period = static_cast<R>(w.period);
    if constexpr (sizeof(T) == 2)
        if (w.taps == 2) {
            const auto weight = static_cast<i32>(w.weights[1] * 32768.0 + 0.5);
            if (weight < 32768) return CyclicPairs(dst, rows[0], rows[1], static_cast<std::int16_t>(weight), count);
            std::memmove(dst, rows[1], count * sizeof(T));
            return;
        }
    const T* base = rows[w.nearest];
    for (std::size_t start = 0; start < count; start += kChunk) {
        const std::size_t size = std::min(kChunk, count - start);
        // 16 bits: weights of 30 bits in 64-bit sums; else in the precision of the type.
        using Sum = std::conditional_t<sizeof(T) == 2, std::int64_t, R>;
        using Way = std::conditional_t<std::is_integral_v<T>, i32, R>;
        Sum sums[kChunk] = {};
        const auto walk = [&](std::size_t end, int step) HWY_ATTR {
            Way ways[kChunk] = {};
            for (std::size_t k = w.nearest; k != end;) {
                const T* from = rows[k] + start;
                k = step > 0 ? k + 1 : k - 1;
                const T* to = rows[k] + start;
                const auto weight = sizeof(T) == 2 ? static_cast<Sum>(std::floor(w.weights[k] * 1073741824.0 + 0.5))
                                                   : static_cast<Sum>(w.weights[k]);
                for (std::size_t i = 0; i < size; ++i) {
                    ways[i] += Arc(from[i], to[i], period);
                    sums[i] += static_cast<Sum>(ways[i]) * weight;
                }
            }
        };
        walk(w.taps - 1, 1);
        walk(0, -1);
        for (std::size_t i = 0; i < size; ++i) {
            const T v = base[start + i];
            if constexpr (sizeof(T) == 2)
                dst[start + i] = static_cast<T>(v + ((sums[i] + (1 << 29)) >> 30));
            else if constexpr (sizeof(T) == 1)
                dst[start + i] = static_cast<T>(static_cast<i32>(v) + static_cast<i32>(std::floor(sums[i] + R(0.5))));
            else
                dst[start + i] = Reduce(v + sums[i], period);
        }
    }
}

template <class R, class S>
void AssignBlend(BlendRow<R, S>& row) {
    row = &BlendLoop<R, S>;
}
template <class R, class S>
void AssignWarp(WarpRow<R, S>& linear, WarpRow<R, S>& cubic) {
    linear = &WarpLoop<2, R, S>;
    cubic = &WarpLoop<4, R, S>;
}
template <class T>
void AssignMoves(PickRow<T>& pick, UnaryRow<T, T>& reverse) {
    pick = &PickLoop<T>;
    reverse = &ReverseLoop<T>;
}

template <class... T>
void AssignCyclic(std::tuple<CyclicRow<T>...>& rows) {
    rows = {&CyclicLoop<T>...};
}

const GeometryKernels& Kernels() {
    static const GeometryKernels table = [] {
        GeometryKernels k;
        std::apply([](auto&... row) { (AssignBlend(row), ...); }, k.blend);
        k.gather = {&GatherLoop<float>, &GatherLoop<double>};
        k.stride = {&StrideLoop<float>, &StrideLoop<double>};
        std::apply(
            [&](auto&... pick) { std::apply([&](auto&... reverse) { (AssignMoves(pick, reverse), ...); }, k.reverse); },
            k.pick);
        Fill<Round>(k.round);
        k.finite = {&FiniteLoop<float>, &FiniteLoop<double>};
        k.transpose = {&TransposeLoop<u8>, &TransposeLoop<u16>, &TransposeLoop<i32>, &TransposeLoop<double>};
        std::apply(
            [&](auto&... linear) { std::apply([&](auto&... cubic) { (AssignWarp(linear, cubic), ...); }, k.cubic); },
            k.linear);
        AssignCyclic(k.cyclic);
        return k;
    }();
    return table;
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::kernels {
HWY_EXPORT(Kernels);
const GeometryKernels& GetGeometryKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
