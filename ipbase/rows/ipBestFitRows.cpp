#include "ipbase/rows/ipBestFitRows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/rows/ipBestFitRows.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/rows/ipRowLoop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::rows::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

// Sums in a fixed number of lanes: vectors for the compiler, and the same rounding on every target.
constexpr std::size_t kLanes = 16;
using Lanes = double[kLanes];

template <std::size_t count>
HWY_ATTR void AddUp(const double (&lanes)[count][kLanes], double (&sums)[count]) {
    for (std::size_t p = 0; p < count; ++p) {
        double sum = 0.0;
        for (double lane : lanes[p]) sum += lane;
        sums[p] += sum;
    }
}

template <class T>
HWY_ATTR HWY_INLINE void AddValues(const T* z, const double* s, std::size_t k, double (&v)[4][kLanes], double admit) {
    const double x = s[k];
    double product = static_cast<double>(z[k]);
    product = admit != 0.0 ? product : 0.0;  // not a product: what is excluded may be anything
    v[0][k] += product;
    product *= x;
    v[1][k] += product;
    product *= x;
    v[2][k] += product;
    v[3][k] += product * x;
}

template <class T>
HWY_ATTR void ValueSums(const T* z, const double* s, std::size_t count, PowerSums& sums) {
    double v[4][kLanes] = {};
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes)
        for (std::size_t k = 0; k < kLanes; ++k) AddValues(z + i, s + i, k, v, 1.0);
    for (std::size_t k = 0; i + k < count; ++k) AddValues(z + i, s + i, k, v, 1.0);
    AddUp(v, sums.values);
}

HWY_ATTR HWY_INLINE double Admit(u8 mask) { return mask < kMaskLimit ? 1.0 : 0.0; }

HWY_ATTR HWY_INLINE void AddPowers(const double* s, std::size_t k, double (&m)[7][kLanes], double admit) {
    const double x = s[k];
    double power = admit;
    for (std::size_t p = 0; p < 7; ++p) {
        m[p][k] += power;
        power *= x;
    }
}

template <class T>
HWY_ATTR void MaskedSums(const T* z, const u8* mask, const double* s, std::size_t count, PowerSums& sums) {
    double v[4][kLanes] = {}, m[7][kLanes] = {};
    std::size_t i = 0;
    for (; i + kLanes <= count; i += kLanes) {
        for (std::size_t k = 0; k < kLanes; ++k) AddValues(z + i, s + i, k, v, Admit(mask[i + k]));
        for (std::size_t k = 0; k < kLanes; ++k) AddPowers(s + i, k, m, Admit(mask[i + k]));
    }
    for (std::size_t k = 0; i + k < count; ++k) {
        AddValues(z + i, s + i, k, v, Admit(mask[i + k]));
        AddPowers(s + i, k, m, Admit(mask[i + k]));
    }
    AddUp(v, sums.values);
    AddUp(m, sums.powers);
}

HWY_ATTR void MaskExtremes(const u8* mask, std::size_t count, u8& least, u8& greatest) {
    u8 low = 255, high = 0;
    for (std::size_t i = 0; i < count; ++i) {
        low = mask[i] < low ? mask[i] : low;
        high = mask[i] > high ? mask[i] : high;
    }
    least = low;
    greatest = high;
}

// What does not change along a row.
struct Cubic {
    double c1, c2, c3, c8, c9, c10, y, onlyY, c7y;
    explicit HWY_INLINE Cubic(const CubicRow& row)
        : c1(row.c[0]),
          c2(row.c[1]),
          c3(row.c[2]),
          c8(row.c[7]),
          c9(row.c[8]),
          c10(row.c[9]),
          y(row.y),
          onlyY(((y * row.c[3] + row.c[4]) * y + row.c[5]) * y),
          c7y(y * row.c[6]) {}
    HWY_INLINE float At(std::size_t i) const {
        const double x = static_cast<double>(static_cast<i32>(i) + 1);
        return static_cast<float>(((x * c1 + c2) * x + c3) * x + onlyY + (c7y + x * c8 + c9) * x * y + c10);
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

const BestFitRows& Rows() {
    static const BestFitRows table = [] {
        BestFitRows rows;
        rows.values = {&ValueSums<u8>, &ValueSums<u16>, &ValueSums<float>};
        rows.masked = {&MaskedSums<u8>, &MaskedSums<u16>, &MaskedSums<float>};
        rows.extremes = &MaskExtremes;
        rows.draw = &Draw;
        rows.drawElseKeep = &DrawMasked<true>;
        rows.drawElseZero = &DrawMasked<false>;
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
const BestFitRows& GetBestFitRows() { return HWY_DYNAMIC_DISPATCH(Rows)(); }
}  // namespace KrN::rows
#endif
