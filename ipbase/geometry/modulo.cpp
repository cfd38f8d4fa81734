// Geometry of quantities that repeat after a period.
#include "ipbase/geometry/cyclic.h"
#include "ipbase/geometry/shear.h"

namespace KrN {

using namespace geometry;

namespace {

template <class T>
void ScaleCyclic(const KrTAOI<T>* src, KrTAOI<T>* dst, const KrSampling& how) {
    const double period = PeriodOf<T>(how);
    if (IsEmpty(src) || IsEmpty(dst)) return;
    if (SharePixels(src, dst))
        throw new KrNotImplementedException(L"C\\ipLGeomet", 541, L"ScaleModulo( pSrc == pDest )");
    const KrTSize<int> size = SizeOf(*dst);
    CyclicSource<T> source(*src, dst, how, period);
    const AxisTaps xs = ScaleTaps(source.Plane().width, size.cx, how.mode);
    const AxisTaps ys = ScaleTaps(source.Plane().height, size.cy, how.mode);
    const InterpolationMode meanMode = how.mode == eCubic ? eLinear : how.mode;
    const AxisTaps meanXs = ScaleTaps(source.Plane().width, size.cx, meanMode);
    const AxisTaps meanYs = ScaleTaps(source.Plane().height, size.cy, meanMode);
    PassedRows<T> rows(ys.count, static_cast<std::size_t>(size.cx));
    std::vector<const T*> taps(ys.count);
    std::vector<u8> holes(static_cast<std::size_t>(size.cx));
    Output<T> output(*dst, size, how.excluded);
    for (int y = 0; y < size.cy; ++y) {
        T* out = output.Row(y);
        const AxisView down = View(ys, y);
        if (how.mode != eArea) {
            for (std::size_t k = 0; k < taps.size(); ++k) {
                const int from = down.first + static_cast<int>(k);
                taps[k] = rows.Get(from, [&](T* row) {
                    const T* pixels = source.Row(from, eBorderReplicate);
                    for (int x = 0; x < size.cx; ++x) row[x] = source.Along(pixels, View(xs, x), eBorderReplicate);
                });
            }
            source.Blend(out, taps.data(), down, output.Width());
        }
        for (int x = 0; x < size.cx; ++x) {
            u8& hole = holes[static_cast<std::size_t>(x)] = 0;
            if (how.mode == eArea || (source.HasHoles() && source.Touches(View(xs, x), down, eBorderReplicate)))
                hole = !source.Mean(View(meanXs, x), View(meanYs, y), eBorderReplicate, out[x]);
        }
        output.Commit(y, T{0}, [&](std::size_t x) { return holes[x] != 0; });
    }
}

// A row moved by parts of pixels.
template <class T>
void MoveRow(CyclicSource<T>& source, const T* row, const Taps& taps, BorderRule border, T* out, int count) {
    const int width = source.Plane().width;
    const int last = taps.first + static_cast<int>(taps.count) - 1;
    const int begin = row ? std::clamp(-taps.first, 0, count) : count, end = std::clamp(width - last, begin, count);
    const T* rows[4];
    for (std::size_t k = 0; k < taps.count && begin < end; ++k)
        rows[k] = row + begin + taps.first + static_cast<int>(k);
    if (begin < end) source.Blend(out + begin, rows, View(taps), static_cast<std::size_t>(end - begin));
    const auto beyond = [&](int x) {
        TapsView at = View(taps);
        at.first += x;
        out[x] = source.Along(row, at, border);
    };
    for (int x = 0; x < begin; ++x) beyond(x);
    for (int x = end; x < count; ++x) beyond(x);
}

template <class T>
void ShiftCyclic(const KrTAOI<T>* src, KrTAOI<T>* dst, double dx, double dy, const KrSampling& how) {
    const double period = PeriodOf<T>(how);
    const KrTSize<int> size = CommonRegion(src, dst);
    if (size.cx == 0) return;
    Output<T> output(*dst, size, how.excluded);
    CyclicSource<T> source(*src, dst, how, period);
    const bool finite = std::isfinite(dx) && std::isfinite(dy);
    const auto position = [&](double shift, int side) { return finite ? -ReduceShift(shift, side, how.border) : 0.0; };
    const double x0 = position(dx, source.Plane().width), y0 = position(dy, source.Plane().height);
    const auto tapsAt = [&](double at) { return TapsAt(at, at == std::floor(at) ? eNearest : how.mode); };
    const Taps xs = tapsAt(x0), ys = tapsAt(y0);
    const InterpolationMode meanMode = how.mode == eNearest ? eNearest : eLinear;
    const Taps meanXs = TapsAt(x0, meanMode), meanYs = TapsAt(y0, meanMode);
    PassedRows<T> rows(ys.count, output.Width());
    std::vector<const T*> taps(ys.count);
    std::vector<u8> holes(output.Width());
    const auto make = [&](int y) {
        return [&source, &xs, &how, &size, y](T* row) {
            MoveRow(source, source.Row(y, how.border), xs, how.border, row, size.cx);
        };
    };
    for (int y = 0; y < size.cy; ++y) {
        T* out = output.Row(y);
        for (std::size_t k = 0; k < taps.size() && taps.size() > 1; ++k)
            taps[k] = rows.Get(y + ys.first + static_cast<int>(k), make(y + ys.first + static_cast<int>(k)));
        if (taps.size() > 1)
            source.Blend(out, taps.data(), View(ys), output.Width());
        else
            make(y + ys.first)(out);
        if (finite && !source.HasHoles()) {
            output.Commit(y);
            continue;
        }
        const auto moved = [](const Taps& from, int by) { return TapsView{from.first + by, from.count, from.weights}; };
        for (int x = 0; x < size.cx; ++x) {
            u8& hole = holes[static_cast<std::size_t>(x)] = !finite;
            if (finite && source.Touches(moved(xs, x), moved(ys, y), how.border))
                hole = !source.Mean(moved(meanXs, x), moved(meanYs, y), how.border, out[x]);
        }
        output.Commit(y, source.Fill(), [&](std::size_t x) { return holes[x] != 0; });
    }
}

// False where the pixel is excluded.
template <class T>
bool CyclicAt(CyclicSource<T>& source, double x, double y, const KrSampling& how, std::vector<T>& column, T& result) {
    if (!std::isfinite(x) || !std::isfinite(y)) return false;
    x = ReduceShift(x, source.Plane().width, how.border);
    y = ReduceShift(y, source.Plane().height, how.border);
    const Taps xs = TapsAt(x, how.mode), ys = TapsAt(y, how.mode);
    if (source.HasHoles() && source.Touches(View(xs), View(ys), how.border)) {
        const InterpolationMode meanMode = how.mode == eNearest ? eNearest : eLinear;
        const Taps meanXs = TapsAt(x, meanMode), meanYs = TapsAt(y, meanMode);
        return source.Mean(View(meanXs), View(meanYs), how.border, result);
    }
    column.resize(ys.count);
    for (std::size_t k = 0; k < ys.count; ++k)
        column[k] = source.Along(source.Row(ys.first + static_cast<int>(k), how.border), View(xs), how.border);
    result = source.Combine(column, View(ys));
    return true;
}

template <class T>
void AffineCyclic(const KrTAOI<T>* src, KrTAOI<T>* dst, const std::array<double, 6>& m, const KrSampling& how) {
    const double period = PeriodOf<T>(how);
    if (IsEmpty(src) || IsEmpty(dst)) return;
    const KrTSize<int> size = SizeOf(*dst);
    CyclicSource<T> source(*src, dst, how, period);
    Output<T> output(*dst, size, how.excluded);
    std::vector<u8> holes(output.Width());
    std::vector<T> column;
    for (int y = 0; y < size.cy; ++y) {
        T* out = output.Row(y);
        for (int x = 0; x < size.cx; ++x)
            holes[static_cast<std::size_t>(x)] =
                !CyclicAt(source, m[0] * x + (m[1] * y + m[2]), m[3] * x + (m[4] * y + m[5]), how, column, out[x]);
        output.Commit(y, source.Fill(), [&](std::size_t x) { return holes[x] != 0; });
    }
}

// Moves rows by the modulo rule.
template <class T>
struct CyclicShear {
    T fill;
    InterpolationMode mode;
    double period;

    template <class Shift>
    void operator()(Source<T>& canvas, const Shift& shift) const {
        const auto cyclic = KernelOf<CyclicRow<T>>(GetGeometryKernels().cyclic);
        const auto width = static_cast<std::size_t>(canvas.Width());
        std::vector<T> extended;
        for (int y = 0; y < canvas.Height(); ++y) {
            const Taps taps = TapsAt(-shift(y), mode);
            const std::size_t nearest = taps.count == 4 ? (taps.weights[2] > taps.weights[1] ? 2 : 1)
                                                        : (taps.weights[1] > taps.weights[0] ? 1 : 0);
            const T* rows[4];
            extended.resize(width + taps.count - 1);
            Extend(extended, canvas.Row(y), canvas.Width(), taps.first, fill);
            for (std::size_t k = 0; k < taps.count; ++k) rows[k] = extended.data() + k;
            cyclic(canvas.Row(y), rows, {taps.weights, taps.count, nearest, period}, width);
            if constexpr (std::is_floating_point_v<T>) KeepNearest(canvas.Row(y), rows[nearest], width);
        }
    }

private:
    // Beside a value that is none, the nearest one stands as it is.
    static void KeepNearest(T* row, const T* nearest, std::size_t width) {
        for (std::size_t x = 0; x < width; ++x)
            if (!std::isfinite(row[x])) row[x] = nearest[x];
    }
};

template <class T>
void RotateCyclic(const KrTAOI<T>* src, KrTAOI<T>* dst, double degrees, const KrSampling& how) {
    const double period = PeriodOf<T>(how);
    const ShearPlan plan = PlanShears(SizeOf(*src), degrees, how.mode);
    if (IsEmpty(src) || IsEmpty(dst)) return;
    const T fill = FillValue<T>(how.fill);
    Source<T> canvas = [&] {
        const Source<T> source(*src, static_cast<KrTAOI<T>*>(nullptr));
        return MakeCanvas(source.Plane(), plan, false, fill);
    }();
    if (how.mode == eNearest)
        ShearThrice(canvas, plan, 1.0, NearestShear<T>{fill});
    else
        ShearThrice(canvas, plan, 1.0, CyclicShear<T>{fill, how.mode, period});
    CutCanvas(canvas, *dst, plan, false, fill);
}

}  // namespace

void KrLGeomet::ScaleModulo88SW(const KrAOI8* s, KrAOI8* d, const KrSampling& how) { ScaleCyclic<u8>(s, d, how); }
void KrLGeomet::ScaleModulo1616SW(const KrAOI16* s, KrAOI16* d, const KrSampling& how) { ScaleCyclic<u16>(s, d, how); }
void KrLGeomet::ScaleModuloFFSW(const KrAOI32Float* s, KrAOI32Float* d, const KrSampling& how) {
    ScaleCyclic<float>(s, d, how);
}
void KrLGeomet::ScaleModuloDDSW(const KrAOI64Double* s, KrAOI64Double* d, const KrSampling& how) {
    ScaleCyclic<double>(s, d, how);
}
void KrLGeomet::ShiftSubPixelModulo88SW(const KrAOI8* s, KrAOI8* d, double dx, double dy, const KrSampling& how) {
    ShiftCyclic<u8>(s, d, dx, dy, how);
}
void KrLGeomet::ShiftSubPixelModulo1616SW(const KrAOI16* s, KrAOI16* d, double dx, double dy, const KrSampling& how) {
    ShiftCyclic<u16>(s, d, dx, dy, how);
}
void KrLGeomet::ShiftSubPixelModuloFFSW(const KrAOI32Float* s, KrAOI32Float* d, double dx, double dy,
                                        const KrSampling& how) {
    ShiftCyclic<float>(s, d, dx, dy, how);
}
void KrLGeomet::ShiftSubPixelModuloDDSW(const KrAOI64Double* s, KrAOI64Double* d, double dx, double dy,
                                        const KrSampling& how) {
    ShiftCyclic<double>(s, d, dx, dy, how);
}
void KrLGeomet::AffineModulo88SW(const KrAOI8* s, KrAOI8* d, const Matrix& m, const KrSampling& how) {
    AffineCyclic<u8>(s, d, m, how);
}
void KrLGeomet::AffineModulo1616SW(const KrAOI16* s, KrAOI16* d, const Matrix& m, const KrSampling& how) {
    AffineCyclic<u16>(s, d, m, how);
}
void KrLGeomet::AffineModuloFFSW(const KrAOI32Float* s, KrAOI32Float* d, const Matrix& m, const KrSampling& how) {
    AffineCyclic<float>(s, d, m, how);
}
void KrLGeomet::AffineModuloDDSW(const KrAOI64Double* s, KrAOI64Double* d, const Matrix& m, const KrSampling& how) {
    AffineCyclic<double>(s, d, m, how);
}
void KrLGeomet::RotateModulo88SW(const KrAOI8* s, KrAOI8* d, double degrees, const KrSampling& how) {
    RotateCyclic<u8>(s, d, degrees, how);
}
void KrLGeomet::RotateModulo1616SW(const KrAOI16* s, KrAOI16* d, double degrees, const KrSampling& how) {
    RotateCyclic<u16>(s, d, degrees, how);
}
void KrLGeomet::RotateModuloFFSW(const KrAOI32Float* s, KrAOI32Float* d, double degrees, const KrSampling& how) {
    RotateCyclic<float>(s, d, degrees, how);
}
void KrLGeomet::RotateModuloDDSW(const KrAOI64Double* s, KrAOI64Double* d, double degrees, const KrSampling& how) {
    RotateCyclic<double>(s, d, degrees, how);
}

}  // namespace KrN
