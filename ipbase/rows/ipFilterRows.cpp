#include "ipbase/rows/ipFilterRows.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "ipbase/ipFilterWindow.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/rows/ipFilterRows.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/rows/ipRound-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::rows::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

template <class T>
HWY_INLINE double Product(T pixel, i32 weight) {
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<double>(pixel) * weight;
    else {
        const u32 product = static_cast<u32>(pixel) * static_cast<u32>(weight);
        if constexpr (std::is_same_v<T, u32>) return product;
        return static_cast<i32>(product);
    }
}

struct Least {
    template <class T>
    static HWY_INLINE T Do(T a, T b) {
        return b < a ? b : a;
    }
};
struct Greatest {
    template <class T>
    static HWY_INLINE T Do(T a, T b) {
        return a < b ? b : a;
    }
};

template <class T>
HWY_ATTR void MaskedWeightedLoop(T* dst, const MaskedTaps<T>& in, const i32* weights, bool atLeastOne,
                                 std::size_t count) {
    for (std::size_t start = 0; start < count; start += kBlock) {
        const std::size_t n = std::min(kBlock, count - start);
        double sums[kBlock] = {}, totals[kBlock] = {};
        for (std::size_t k = 0; k < in.tapCount; ++k) {
            const T* tap = in.taps[k] + start;
            const u8* mask = in.masks[k] + start;
            const i32 weight = weights[k];
            for (std::size_t i = 0; i < n; ++i) {
                sums[i] += mask[i] < kFirstInvalid ? Product(tap[i], weight) : 0.0;
                totals[i] += mask[i] < kFirstInvalid ? weight : 0.0;
            }
        }
        for (std::size_t i = 0; i < n; ++i) {
            const double total = atLeastOne && totals[i] < 1.0 ? 1.0 : totals[i];
            sums[i] = total != 0.0 ? sums[i] / total : 0.0;
        }
        T means[kBlock];
        RoundBlock(means, sums, n);
        for (std::size_t i = 0; i < n; ++i)
            dst[start + i] = in.mask[start + i] < kFirstInvalid ? means[i] : in.pixels[start + i];
    }
}

template <class Op, class T>
void MaskedExtremeLoop(T* dst, const MaskedTaps<T>& in, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        T best = in.pixels[i];
        if (in.mask[i] < kFirstInvalid)
            for (std::size_t k = 0; k < in.tapCount; ++k)
                if (in.masks[k][i] < kFirstInvalid) best = Op::Do(best, in.taps[k][i]);
        dst[i] = best;
    }
}

template <class T>
HWY_ATTR void BlendLoop(T* pixels, const T* neighbours, double alpha, std::size_t count) {
    const double rest = 1.0 - alpha;
    for (std::size_t start = 0; start < count; start += kBlock) {
        const std::size_t n = std::min(kBlock, count - start);
        T* out = pixels + start;
        double values[kBlock];
        for (std::size_t i = 0; i < n; ++i) values[i] = rest * out[i] + alpha * neighbours[start + i];
        if constexpr (std::is_floating_point_v<T>) {
            for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<T>(values[i]);
        } else {
            RoundBlock(out, values, n);
        }
    }
}

template <class... T>
void FillMasked(FilterRows& rows, std::tuple<MaskedWeightedRow<T>...>&) {
    ((std::get<MaskedWeightedRow<T>>(rows.maskedWeighted) = &MaskedWeightedLoop<T>), ...);
}
template <class... T>
void FillPixels(FilterRows& rows, std::tuple<BlendRow<T>...>&) {
    ((std::get<BlendRow<T>>(rows.blend) = &BlendLoop<T>), ...);
    ((std::get<MaskedTapRow<T>>(rows.maskedMinimum) = &MaskedExtremeLoop<Least, T>), ...);
    ((std::get<MaskedTapRow<T>>(rows.maskedMaximum) = &MaskedExtremeLoop<Greatest, T>), ...);
}

const FilterRows& Rows() {
    static const FilterRows table = [] {
        FilterRows rows;
        FillMasked(rows, rows.maskedWeighted);
        FillPixels(rows, rows.blend);
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
const FilterRows& GetFilterRows() { return HWY_DYNAMIC_DISPATCH(Rows)(); }
}  // namespace KrN::rows
#endif
