#include "ipbase/ipRotateByShear.h"

#include "ipbase/geometry/fourier.h"
#include "ipbase/geometry/operations.h"
#include "ipbase/geometry/paletteshear.h"
#include "ipbase/geometry/shear.h"

namespace KrN {

using namespace geometry;

KrLRotateByShear::KrLRotateByShear() = default;
KrLRotateByShear::KrLRotateByShear(const KrLRotateByShear&) = default;
KrLRotateByShear& KrLRotateByShear::operator=(const KrLRotateByShear&) = default;
KrLRotateByShear::~KrLRotateByShear() = default;

namespace {

// Moves rows by linear or cubic interpolation.
template <class R>
struct SmoothShear {
    R fill;
    InterpolationMode mode;

    template <class Shift>
    void operator()(Source<R>& canvas, const Shift& shift) const {
        const auto blend = KernelOf<BlendRow<R, R>>(GetGeometryKernels().blend);
        const auto finite = KernelOf<bool (*)(const R*, std::size_t)>(GetGeometryKernels().finite);
        std::vector<R> extended;
        for (int y = 0; y < canvas.Height(); ++y) {
            const Taps taps = TapsAt(-shift(y), mode);
            R weights[4];
            const R* rows[4];
            extended.resize(static_cast<std::size_t>(canvas.Width()) + taps.count - 1);
            Extend(extended, canvas.Row(y), canvas.Width(), taps.first, fill);
            for (std::size_t k = 0; k < taps.count; ++k) {
                weights[k] = static_cast<R>(taps.weights[k]);
                rows[k] = extended.data() + k;
            }
            const auto width = static_cast<std::size_t>(canvas.Width());
            blend(canvas.Row(y), rows, weights, taps.count, width);
            if (!finite(canvas.Row(y), width)) Repair(canvas.Row(y), width, extended, taps, -shift(y));
        }
    }

private:
    void Repair(R* row, std::size_t width, const std::vector<R>& extended, const Taps& taps, double position) const {
        const PixelPlane<R> plane{extended.data(), 0, static_cast<i32>(extended.size()), 1};
        const auto linearFirst = static_cast<int>(std::floor(position)) - taps.first;
        const Taps one, linear = TapsAt(position, eLinear);
        for (std::size_t x = 0; x < width; ++x) {
            if (std::isfinite(row[x])) continue;
            bool whole = false;
            TapsView at{static_cast<int>(x), taps.count, taps.weights};
            double value = MeanOfFinite(plane, eBorderReplicate, 0.0, at, View(one), whole);
            if (!whole && mode == eCubic) {
                at = {static_cast<int>(x) + linearFirst, linear.count, linear.weights};
                value = MeanOfFinite(plane, eBorderReplicate, 0.0, at, View(one), whole);
            }
            row[x] = static_cast<R>(value);
        }
    }
};

struct FourierShear {
    template <class Shift>
    void operator()(Source<double>& canvas, const Shift& shift) const {
        cv::Mat1d image(canvas.Height(), canvas.Width(), canvas.Row(0));
        ShiftRowsFourier(image, shift);
    }
};

struct Turning {
    double degrees;
    InterpolationMode mode;
    bool back;
};

template <class P, class T, class Shear>
void RotateOn(const KrTAOI<T>* src, KrTAOI<T>* dst, const Turning& turning, T fill, const Shear& shear) {
    const ShearPlan plan = PlanShears(SizeOf(turning.back ? *dst : *src), turning.degrees, turning.mode);
    if (IsEmpty(src) || IsEmpty(dst)) return;
    Source<P> canvas = [&] {
        const Source<T> source(*src, static_cast<KrTAOI<T>*>(nullptr));
        return MakeCanvas(source.Plane(), plan, turning.back, static_cast<P>(fill));
    }();
    ShearThrice(canvas, plan, turning.back ? -1.0 : 1.0, shear);
    CutCanvas(canvas, *dst, plan, turning.back, fill);
}

template <class T>
void RotatePixels(const KrTAOI<T>* src, KrTAOI<T>* dst, const Turning& turning, double fillValue) {
    using R = Precision<T>;
    const T fill = FillValue<T>(fillValue);
    if (turning.mode == eNearest) return RotateOn<T>(src, dst, turning, fill, NearestShear<T>{fill});
    if constexpr (std::is_floating_point_v<T>)
        if (turning.mode == eFourier) return RotateOn<double>(src, dst, turning, fill, FourierShear{});
    RotateOn<R>(src, dst, turning, fill, SmoothShear<R>{static_cast<R>(fill), turning.mode});
}

}  // namespace

template <>
struct OperationsOf<KrLRotateByShear> {
    using T = KrLRotateByShear;
    using Signature = void(T&, const KrAOI*, KrAOI*, double, InterpolationMode, double, const KrLut3x8*, bool);

    // Only indices have palettes, only real numbers frequencies.
    template <class AOI, void (T::*kernel)(const AOI*, AOI*, double, InterpolationMode, double, bool)>
    static void Plain(T& self, const AOI* src, AOI* dst, double degrees, InterpolationMode mode, double fill,
                      const KrLut3x8*, bool back) {
        if (!AnyIsEmpty(src, dst)) (self.*kernel)(src, dst, degrees, mode, fill, back);
    }

    static constexpr std::tuple all{
        Operation<Signature>::Of<&T::Rotate88SW, &Plain<KrAOI16, &T::Rotate1616SW>,
                                 &Plain<KrAOI32Float, &T::RotateFFSW>, &Plain<KrAOI64Double, &T::RotateDDSW>>(
            L"C\\ipRotateByShear", 60, L"Rotate( %s, %s, %g )"),
        Operation<Signature>::Of<&T::Rotate88SW, &Plain<KrAOI16, &T::Rotate1616SW>,
                                 &Plain<KrAOI32Float, &T::RotateFFSW>, &Plain<KrAOI64Double, &T::RotateDDSW>>(
            L"C\\ipRotateByShear", 90, L"InverseRotate( %s, %s, %g )")};
};

namespace {

const auto& [kRotate, kInverseRotate] = OperationsOf<KrLRotateByShear>::all;

bool IsKnown(const KrAOI* src, InterpolationMode mode, const KrLut3x8* palette) {
    const bool isReal = src && (src->GetDevType() == eDev32Float || src->GetDevType() == eDev64Double);
    if (palette && !(src && src->GetDevType() == eDev8)) return false;
    return mode == eNearest || mode == eLinear || mode == eCubic || (mode == eFourier && (isReal || palette));
}

}  // namespace

void KrLRotateByShear::Rotate(const KrAOI* src, KrAOI* dst, double degrees, InterpolationMode mode, double fill,
                              const KrLut3x8* palette) {
    if (!IsKnown(src, mode, palette)) kRotate.Throw(src, dst, degrees, mode, fill, palette, false);
    kRotate(*this, src, dst, degrees, mode, fill, palette, false);
}

void KrLRotateByShear::InverseRotate(const KrAOI* src, KrAOI* dst, double degrees, InterpolationMode mode, double fill,
                                     const KrLut3x8* palette) {
    if (!IsKnown(src, mode, palette)) kInverseRotate.Throw(src, dst, degrees, mode, fill, palette, true);
    kInverseRotate(*this, src, dst, degrees, mode, fill, palette, true);
}

KrTSize<int> KrLRotateByShear::RotatedSize(const KrTSize<short>& size, double degrees, InterpolationMode mode) {
    return WholeSize({size.cx, size.cy}, degrees, mode);
}

void KrLRotateByShear::Rotate88SW(const KrAOI8* src, KrAOI8* dst, double degrees, InterpolationMode mode, double fill,
                                  const KrLut3x8* palette, bool back) {
    if (!palette || mode == eNearest) return RotatePixels<u8>(src, dst, {degrees, mode, back}, fill);
    const u8 index = FillValue<u8>(fill);
    RotateOn<u8, u8>(src, dst, {degrees, eLinear, back}, index, PaletteShear(*palette, index));
}
void KrLRotateByShear::Rotate1616SW(const KrAOI16* src, KrAOI16* dst, double degrees, InterpolationMode mode,
                                    double fill, bool back) {
    RotatePixels<u16>(src, dst, {degrees, mode, back}, fill);
}
void KrLRotateByShear::RotateFFSW(const KrAOI32Float* src, KrAOI32Float* dst, double degrees, InterpolationMode mode,
                                  double fill, bool back) {
    RotatePixels<float>(src, dst, {degrees, mode, back}, fill);
}
void KrLRotateByShear::RotateDDSW(const KrAOI64Double* src, KrAOI64Double* dst, double degrees, InterpolationMode mode,
                                  double fill, bool back) {
    RotatePixels<double>(src, dst, {degrees, mode, back}, fill);
}

std::vector<OperationInfo> RotateByShearOperations() { return ListOperations(OperationsOf<KrLRotateByShear>::all); }

}  // namespace KrN
