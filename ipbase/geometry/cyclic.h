#pragma once

#include "ipbase/geometry/taps.h"

namespace KrN::geometry {

// The period of a pixel type, or the one that was asked for. Throws KrException when that is none.
template <class T>
double PeriodOf(const KrSampling& how) {
    if constexpr (std::is_integral_v<T>) return sizeof(T) == 1 ? 256.0 : 65536.0;
    if (!(how.period > 0.0) || !std::isfinite(how.period))
        throw new KrException(L"The period of a modulo operation must be a number above 0");
    return how.period;
}

// The source of a modulo operation: values between its pixels, and means where some of these are excluded.
template <class T>
class CyclicSource {
public:
    CyclicSource(const KrTAOI<T>& src, const KrTAOI<T>* dst, const KrSampling& how, double period)
        : mSource(src, dst),
          mHow(how),
          mPeriod(period),
          mFill(FillValue<T>(how.fill)),
          mCyclic(KernelOf<CyclicRow<T>>(GetGeometryKernels().cyclic)),
          mHoles(0, 0, false) {
        if (how.modulation && !IsEmpty(how.modulation))
            mModulation.emplace_back(*how.modulation, static_cast<KrTAOI<float>*>(nullptr));
        FindHoles();
    }

    const PixelPlane<T>& Plane() const { return mSource.Plane(); }
    T Fill() const { return mFill; }
    double Period() const { return mPeriod; }
    bool HasHoles() const { return mHoles.Width() > 0 || (mHow.border == eBorderFill && !FillIsFinite()); }
    // The row that stands for row y with that border; null for the fill value.
    const T* Row(int y, BorderRule border) const {
        const int from = MapBorder(y, mSource.Height(), border);
        return from < 0 ? nullptr : Plane().Row(from);
    }
    T Pixel(const T* row, int x, BorderRule border) const {
        const int from = row ? MapBorder(x, mSource.Width(), border) : -1;
        return from < 0 ? mFill : row[from];
    }
    // Between pixels of one row, or of a column of values.
    template <class Axis>
    T Along(const T* row, const Axis& taps, BorderRule border) {
        mValues.resize(taps.count);
        for (std::size_t k = 0; k < taps.count; ++k) mValues[k] = Pixel(row, taps.first + static_cast<int>(k), border);
        return Combine(mValues, taps);
    }
    template <class Axis>
    T Combine(const std::vector<T>& values, const Axis& taps) {
        mRows.resize(taps.count);
        for (std::size_t k = 0; k < taps.count; ++k) mRows[k] = &values[k];
        T result;
        Blend(&result, mRows.data(), taps, 1);
        return result;
    }
    // dst[i] = rows[k][i], weighted.
    template <class Axis>
    void Blend(T* dst, const T* const* rows, const Axis& taps, std::size_t count) {
        mWeights.clear();
        mWeighted.clear();
        std::size_t nearest = 0;
        for (std::size_t k = 0; k < taps.count; ++k) {
            if (taps.Weight(k) == 0.0) continue;
            mWeights.push_back(taps.Weight(k));
            mWeighted.push_back(rows[k]);
            if (mWeights.back() > mWeights[nearest]) nearest = mWeights.size() - 1;
        }
        mCyclic(dst, mWeighted.data(), {mWeights.data(), mWeights.size(), nearest, mPeriod}, count);
    }
    // Whether any of these pixels is excluded.
    template <class X, class Y>
    bool Touches(const X& xs, const Y& ys, BorderRule border) const {
        for (std::size_t j = 0; j < ys.count; ++j)
            for (std::size_t i = 0; i < xs.count; ++i)
                if (xs.Weight(i) != 0.0 && ys.Weight(j) != 0.0 &&
                    IsHole(MapBorder(xs.first + static_cast<int>(i), mSource.Width(), border),
                           MapBorder(ys.first + static_cast<int>(j), mSource.Height(), border)))
                    return true;
        return false;
    }
    // The direction of the sum of unit vectors; false where it has none.
    template <class X, class Y>
    bool Mean(const X& xs, const Y& ys, BorderRule border, T& result) const {
        double re = 0.0, im = 0.0, sum = 0.0, admitted = 0.0, all = 0.0;
        for (std::size_t j = 0; j < ys.count; ++j)
            for (std::size_t i = 0; i < xs.count; ++i) {
                const double w = xs.Weight(i) * ys.Weight(j);
                if (w == 0.0) continue;
                const int column = xs.first + static_cast<int>(i), row = ys.first + static_cast<int>(j);
                const int x = MapBorder(column, mSource.Width(), border);
                const int y = MapBorder(row, mSource.Height(), border);
                all += w;
                if (IsHole(x, y)) continue;
                admitted += w;
                const double value = static_cast<double>(x < 0 || y < 0 ? mFill : Plane().Row(y)[x]);
                const double angle = value / mPeriod * KrMath::TwoPi,
                             share = w * Modulation(x < 0 ? column : x, y < 0 ? row : y);
                re += share * std::cos(angle);
                im += share * std::sin(angle);
                sum += share;
            }
        if (admitted < 0.5 * all * (1.0 - 1e-9) || !(sum > 0.0) || std::hypot(re, im) < 0.05 * sum) return false;
        result = Wrapped(std::atan2(im, re) / KrMath::TwoPi * mPeriod);
        return true;
    }

private:
    bool FillIsFinite() const { return std::isfinite(static_cast<double>(mFill)); }
    bool IsHole(int x, int y) const {
        if (x < 0 || y < 0) return !FillIsFinite();
        return mHoles.Width() > 0 && mHoles.Plane().Row(y)[x] != 0;
    }
    void FindHoles() {
        const MaskReader mask(mHow);
        if (!mask.IsActive() && std::is_integral_v<T>) return;
        Source<u8> holes(mSource.Width(), mSource.Height(), true);
        bool any = false;
        for (int y = 0; y < holes.Height(); ++y)
            for (int x = 0; x < holes.Width(); ++x) {
                const bool hole =
                    !std::isfinite(static_cast<double>(Plane().Row(y)[x])) || (mask.IsActive() && mask(x, y));
                holes.Row(y)[x] = hole;
                any |= hole;
            }
        if (any) mHoles = std::move(holes);
    }
    // Of the pixel whose value is taken; of the nearest one where the fill value is.
    double Modulation(int x, int y) const {
        if (mModulation.empty()) return 1.0;
        const Source<float>& plane = mModulation.front();
        const auto value = static_cast<double>(
            plane.Plane().Row(std::clamp(y, 0, plane.Height() - 1))[std::clamp(x, 0, plane.Width() - 1)]);
        return value > 0.0 && std::isfinite(value) ? value : 0.0;
    }
    T Wrapped(double value) const {
        if constexpr (std::is_integral_v<T>) {
            return static_cast<T>(static_cast<i32>(std::floor(value + 0.5)));
        } else {
            const T wrapped = static_cast<T>(value < 0.0 ? value + mPeriod : value);
            return wrapped < static_cast<T>(mPeriod) ? wrapped : T{0};
        }
    }

    Source<T> mSource;
    const KrSampling& mHow;
    double mPeriod;
    T mFill;
    CyclicRow<T> mCyclic;
    Source<u8> mHoles;                       // empty when there are none
    std::vector<Source<float>> mModulation;  // at most one
    std::vector<T> mValues;
    std::vector<const T*> mRows, mWeighted;
    std::vector<double> mWeights;
};

// The last rows of a pass along the rows, which the pass down the columns combines.
template <class T>
class PassedRows {
public:
    PassedRows(std::size_t rows, std::size_t width) : mRows(rows, std::vector<T>(width)), mNumbers(rows, kNone) {}
    // Row y; `make(row)` makes it when it is not there.
    template <class Make>
    const T* Get(int y, const Make& make) {
        const auto count = static_cast<int>(mRows.size());
        const auto slot = static_cast<std::size_t>((y % count + count) % count);
        if (mNumbers[slot] != y) {
            make(mRows[slot].data());
            mNumbers[slot] = y;
        }
        return mRows[slot].data();
    }

private:
    static constexpr int kNone = std::numeric_limits<int>::min();
    std::vector<std::vector<T>> mRows;
    std::vector<int> mNumbers;
};

}  // namespace KrN::geometry
