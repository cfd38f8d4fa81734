#include "ipbase/kernels/bestfit.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/bestfit.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

namespace hn = hwy::HWY_NAMESPACE;

// Down the columns: integers stay exact, as 3876 times 65535 fits.
template <class T>
using ColumnSum = std::conditional_t<std::is_floating_point_v<T>, double, i32>;

template <class D, class T>
HWY_INLINE hn::Vec<D> Load(D d, const T* from) {
    const auto narrow = hn::LoadU(hn::Rebind<T, D>(), from);
    if constexpr (sizeof(hn::TFromD<D>) == 8 && sizeof(T) == 1)
        return hn::PromoteTo(d, hn::PromoteTo(hn::Rebind<i32, D>(), narrow));
    else
        return hn::PromoteTo(d, narrow);
}

template <class D>
HWY_INLINE hn::Mask<D> Admits(D d, const u8* mask) {
    return hn::Lt(Load(d, mask), hn::Set(d, static_cast<hn::TFromD<D>>(kMaskLimit)));
}

template <class T>
struct Pixels {
    const T* const* rows;
    template <class D>
    HWY_INLINE hn::Vec<D> At(D d, std::size_t r, std::size_t x) const {
        return Load(d, rows[r] + x);
    }
};
template <class T>
struct MaskedPixels {
    const T* const* rows;
    const u8* const* masks;
    template <class D>
    HWY_INLINE hn::Vec<D> At(D d, std::size_t r, std::size_t x) const {
        return hn::IfThenElseZero(Admits(d, masks[r] + x), Load(d, rows[r] + x));
    }
};
struct AdmittedPixels {
    const u8* const* masks;
    template <class D>
    HWY_INLINE hn::Vec<D> At(D d, std::size_t r, std::size_t x) const {
        return hn::IfThenElseZero(Admits(d, masks[r] + x), hn::Set(d, 1));
    }
};

// Running sums of running sums of ...
template <class D, std::size_t levels>
struct Running {
    hn::Vec<D> sum;
    Running<D, levels - 1> next;
    HWY_INLINE Running() : sum(hn::Zero(D())) {}
    HWY_INLINE void Add(hn::Vec<D> value) {
        sum = hn::Add(sum, value);
        next.Add(sum);
    }
    HWY_INLINE void Store(D d, hn::TFromD<D> (*columns)[kTileColumns], std::size_t x) const {
        hn::StoreU(sum, d, columns[0] + x);
        next.Store(d, columns + 1, x);
    }
};
template <class D>
struct Running<D, 0> {
    HWY_INLINE Running() {}
    HWY_INLINE void Add(hn::Vec<D>) {}
    HWY_INLINE void Store(D, hn::TFromD<D> (*)[kTileColumns], std::size_t) const {}
};

template <std::size_t levels, class D, class Source>
HWY_ATTR void SumColumns(D d, const Source& source, std::size_t n, std::size_t first, std::size_t x,
                         hn::TFromD<D> (*columns)[kTileColumns]) {
    Running<D, levels> running;
    for (std::size_t r = 0; r < n; ++r) running.Add(source.At(d, r, first + x));
    running.Store(d, columns, x);
}

// Sums in a fixed number of lanes: vectors for the compiler, and the same rounding on every target.
constexpr std::size_t kLanes = 16;

template <std::size_t powers, class A>
HWY_ATTR void SumAlong(const A* column, const double* s, std::size_t count, double* sums) {
    double lanes[powers][kLanes] = {};
    const auto add = [&](std::size_t i, std::size_t k) HWY_ATTR {
        double product = static_cast<double>(column[i + k]);
        for (std::size_t p = 0; p < powers; ++p) {
            lanes[p][k] += product;
            product *= s[i + k];
        }
    };
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes)
        for (std::size_t k = 0; k < kLanes; ++k) add(i, k);
    for (std::size_t k = 0; i + k < count; ++k) add(i, k);
    for (std::size_t p = 0; p < powers; ++p)
        for (double lane : lanes[p]) sums[p] += lane;
}

template <std::size_t levels, class A, std::size_t k = 0>
HWY_INLINE void SumAllAlong(const A (*columns)[kTileColumns], const double* s, std::size_t count,
                            TileSums<levels>& sums) {
    if constexpr (k < levels) {
        SumAlong<levels - k>(columns[k], s, count, sums[k]);
        SumAllAlong<levels, A, k + 1>(columns, s, count, sums);
    }
}

template <class A, std::size_t levels, class Source>
HWY_ATTR void SumTile(const Source& source, std::size_t n, std::size_t first, std::size_t count, const double* s,
                      TileSums<levels>& sums) {
    A columns[levels][kTileColumns];
    const hn::ScalableTag<A> d;
    std::size_t x = 0;
    for (; x + hn::Lanes(d) <= count; x += hn::Lanes(d)) SumColumns<levels>(d, source, n, first, x, columns);
    for (; x < count; ++x) SumColumns<levels>(hn::CappedTag<A, 1>(), source, n, first, x, columns);
    SumAllAlong<levels, A>(columns, s, count, sums);
}

template <class T>
HWY_ATTR void TileLoop(const Tile<T>& t, const double* s, ValueSums& values) {
    SumTile<ColumnSum<T>, 4>(Pixels<T>{t.rows}, t.n, t.first, t.count, s, values);
}

template <class T>
HWY_ATTR void MaskedTileLoop(const Tile<T>& t, const u8* const* masks, const double* s, ValueSums& values,
                             PowerSums& powers) {
    SumTile<ColumnSum<T>, 4>(MaskedPixels<T>{t.rows, masks}, t.n, t.first, t.count, s, values);
    SumTile<i32, 7>(AdmittedPixels{masks}, t.n, t.first, t.count, s, powers);
}

HWY_ATTR void MaskExtremes(const Tile<u8>& mask, u8& least, u8& greatest) {
    u8 low = 255, high = 0;
    for (std::size_t r = 0; r < mask.n; ++r) {
        const u8* const row = mask.rows[r] + mask.first;
        for (std::size_t i = 0; i < mask.count; ++i) {
            low = row[i] < low ? row[i] : low;
            high = row[i] > high ? row[i] : high;
        }
    }
    least = low;
    greatest = high;
}

// What does not change along a row.
struct Cubic {
    const double *onlyX, *c8x;
    double c9, c10, y, onlyY, c7y;
    explicit HWY_INLINE Cubic(const CubicRow& row)
        : onlyX(row.onlyX),
          c8x(row.c8x),
          c9(row.c[8]),
          c10(row.c[9]),
          y(row.y),
          onlyY(((y * row.c[3] + row.c[4]) * y + row.c[5]) * y),
          c7y(y * row.c[6]) {}
    HWY_INLINE float At(std::size_t i) const {
        const double x = static_cast<double>(static_cast<i32>(i) + 1);
        return static_cast<float>(onlyX[i] + onlyY + (c7y + c8x[i] + c9) * x * y + c10);
    }
};

HWY_ATTR void Draw(float* dst, CubicRow row, std::size_t count) {
    const Cubic cubic(row);
    for (std::size_t i = 0; i < count; ++i) dst[i] = cubic.At(i);
}

template <bool keep>
HWY_ATTR void DrawMasked(float* dst, const u8* mask, CubicRow row, std::size_t count) {
    const Cubic cubic(row);
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const float value = cubic.At(i), other = keep ? dst[i] : 0.0f;
        dst[i] = mask[i] < kMaskLimit ? value : other;
    }
}

const BestFitKernels& Kernels() {
    static const BestFitKernels table = [] {
        BestFitKernels all;
        all.tile = {&TileLoop<u8>, &TileLoop<u16>, &TileLoop<float>};
        all.masked = {&MaskedTileLoop<u8>, &MaskedTileLoop<u16>, &MaskedTileLoop<float>};
        all.extremes = &MaskExtremes;
        all.draw = &Draw;
        all.drawElseKeep = &DrawMasked<true>;
        all.drawElseZero = &DrawMasked<false>;
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
const BestFitKernels& GetBestFitKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
