#include "ipbase/ipLGeomet.h"

#include <tuple>

#include "ipbase/geometry/operations.h"

namespace KrN {

KrLGeomet::KrLGeomet() = default;
KrLGeomet::KrLGeomet(const KrLGeomet&) = default;
KrLGeomet& KrLGeomet::operator=(const KrLGeomet&) = default;
KrLGeomet::~KrLGeomet() = default;

template <>
struct OperationsOf<KrLGeomet> {
    using T = KrLGeomet;
    using Point = KrTPoint<short>;
    using Matrix = std::array<double, 6>;
    using TwoImages = Operation<void(T&, const KrAOI*, KrAOI*)>;
    using Axis = Operation<void(T&, const KrAOI*, KrAOI*, int)>;
    using Places = Operation<void(T&, const KrAOI*, KrAOI*, const Point&, const Point&)>;
    using Sampled = Operation<void(T&, const KrAOI*, KrAOI*, const KrSampling&)>;
    using Angle = Operation<void(T&, const KrAOI*, KrAOI*, double, const KrSampling&)>;
    using Offset = Operation<void(T&, const KrAOI*, KrAOI*, double, double, const KrSampling&)>;
    using Mapped = Operation<void(T&, const KrAOI*, KrAOI*, const Matrix&, const KrSampling&)>;
    using Maps = Operation<void(T&, const KrAOI*, const KrAOI*, const KrAOI*, KrAOI*, const KrSampling&)>;
    using Edges = Operation<void(T&, const KrAOI*, KrAOI*, double, double, bool)>;

    static constexpr const wchar_t* kFile = L"C\\ipLGeomet";

    // clang-format off
    static constexpr std::tuple all{
        Sampled::Of<&T::Scale88SW, &T::Scale1616SW, &T::Scale3232SW, &T::ScaleFFSW, &T::ScaleDDSW>(
            kFile, 120, L"Scale( %s, %s )"),
        Places::Of<&T::Sample88SW, &T::Sample1616SW, &T::Sample3232SW, &T::SampleFFSW, &T::SampleDDSW>(
            kFile, 160, L"Sample( %s, %s )"),
        Axis::Of<&T::Mirror88SW, &T::Mirror1616SW, &T::Mirror3232SW, &T::MirrorFFSW, &T::MirrorDDSW>(
            kFile, 200, L"Mirror( %s, %s, %d )"),
        Axis::Of<&T::Turn88SW, &T::Turn1616SW, &T::Turn3232SW, &T::TurnFFSW, &T::TurnDDSW>(
            kFile, 240, L"Turn( %s, %s, %d )"),
        Offset::Of<&T::ShiftSubPixel88SW, &T::ShiftSubPixel1616SW, &T::ShiftSubPixelFFSW, &T::ShiftSubPixelDDSW>(
            kFile, 300, L"ShiftSubPixel( %s, %s, %g, %g )"),
        Mapped::Of<&T::Affine88SW, &T::Affine1616SW, &T::AffineFFSW, &T::AffineDDSW>(
            kFile, 360, L"Affine( %s, %s )"),
        Maps::Of<&T::Remap88SW, &T::Remap1616SW, &T::RemapFFSW, &T::RemapDDSW>(
            kFile, 400, L"Remap( %s, %s, %s, %s )"),
        TwoImages::Of<&T::PyramidDown88SW, &T::PyramidDown1616SW, &T::PyramidDownFFSW, &T::PyramidDownDDSW>(
            kFile, 440, L"PyramidDown( %s, %s )"),
        TwoImages::Of<&T::PyramidUp88SW, &T::PyramidUp1616SW, &T::PyramidUpFFSW, &T::PyramidUpDDSW>(
            kFile, 460, L"PyramidUp( %s, %s )"),
        Edges::Of<&T::Canny88SW, &T::Canny168SW, &T::CannyF8SW>(
            kFile, 500, L"Canny( %s, %s, %g, %g )")};
    static constexpr std::tuple modulo{
        Sampled::Of<&T::ScaleModulo88SW, &T::ScaleModulo1616SW, &T::ScaleModuloFFSW, &T::ScaleModuloDDSW>(
            kFile, 540, L"ScaleModulo( %s, %s )"),
        Offset::Of<&T::ShiftSubPixelModulo88SW, &T::ShiftSubPixelModulo1616SW, &T::ShiftSubPixelModuloFFSW,
                   &T::ShiftSubPixelModuloDDSW>(
            kFile, 580, L"ShiftSubPixelModulo( %s, %s )"),
        Mapped::Of<&T::AffineModulo88SW, &T::AffineModulo1616SW, &T::AffineModuloFFSW, &T::AffineModuloDDSW>(
            kFile, 620, L"AffineModulo( %s, %s )"),
        Angle::Of<&T::RotateModulo88SW, &T::RotateModulo1616SW, &T::RotateModuloFFSW, &T::RotateModuloDDSW>(
            kFile, 660, L"RotateModulo( %s, %s )")};
    // clang-format on
};

namespace {

const auto& [kScale, kSample, kMirror, kTurn, kShiftSubPixel, kAffine, kRemap, kPyramidDown, kPyramidUp, kCanny] =
    OperationsOf<KrLGeomet>::all;
const auto& [kScaleModulo, kShiftModulo, kAffineModulo, kRotateModulo] = OperationsOf<KrLGeomet>::modulo;

bool IsReal(const KrAOI* aoi) { return aoi && (aoi->GetDevType() == eDev32Float || aoi->GetDevType() == eDev64Double); }

bool InterpolatesPoints(const KrSampling& how) {
    return how.mode == eNearest || how.mode == eLinear || how.mode == eCubic;
}

}  // namespace

void KrLGeomet::Scale(const KrAOI* src, KrAOI* dst, const KrSampling& how) {
    if (!InterpolatesPoints(how) && how.mode != eArea) kScale.Throw(src, dst, how);
    kScale(*this, src, dst, how);
}
void KrLGeomet::Sample(const KrAOI* src, KrAOI* dst, const KrTPoint<short>& start, const KrTPoint<short>& step) {
    kSample(*this, src, dst, start, step);
}
void KrLGeomet::Mirror(const KrAOI* src, KrAOI* dst, Axis axis) {
    if (axis < eColumns || axis > eBoth) kMirror.Throw(src, dst, axis);
    kMirror(*this, src, dst, axis);
}
void KrLGeomet::Turn(const KrAOI* src, KrAOI* dst, int quarters) { kTurn(*this, src, dst, quarters); }
void KrLGeomet::ShiftSubPixel(const KrAOI* src, KrAOI* dst, double dx, double dy, const KrSampling& how) {
    if (!InterpolatesPoints(how) && !(how.mode == eFourier && IsReal(src))) kShiftSubPixel.Throw(src, dst, dx, dy, how);
    kShiftSubPixel(*this, src, dst, dx, dy, how);
}
void KrLGeomet::Affine(const KrAOI* src, KrAOI* dst, const std::array<double, 6>& matrix, const KrSampling& how) {
    if (!InterpolatesPoints(how)) kAffine.Throw(src, dst, matrix, how);
    kAffine(*this, src, dst, matrix, how);
}
void KrLGeomet::Remap(const KrAOI* src, const KrAOI* mapX, const KrAOI* mapY, KrAOI* dst, const KrSampling& how) {
    if (!InterpolatesPoints(how)) kRemap.Throw(src, mapX, mapY, dst, how);
    kRemap(*this, src, mapX, mapY, dst, how);
}
void KrLGeomet::PyramidDown(const KrAOI* src, KrAOI* dst) { kPyramidDown(*this, src, dst); }
void KrLGeomet::PyramidUp(const KrAOI* src, KrAOI* dst) { kPyramidUp(*this, src, dst); }
void KrLGeomet::Canny(const KrAOI* src, KrAOI* dst, double low, double high, bool euclidean) {
    kCanny(*this, src, dst, low, high, euclidean);
}

void KrLGeomet::ScaleModulo(const KrAOI* src, KrAOI* dst, const KrSampling& how) {
    if (!InterpolatesPoints(how) && how.mode != eArea) kScaleModulo.Throw(src, dst, how);
    kScaleModulo(*this, src, dst, how);
}
void KrLGeomet::ShiftSubPixelModulo(const KrAOI* src, KrAOI* dst, double dx, double dy, const KrSampling& how) {
    if (!InterpolatesPoints(how)) kShiftModulo.Throw(src, dst, dx, dy, how);
    kShiftModulo(*this, src, dst, dx, dy, how);
}
void KrLGeomet::AffineModulo(const KrAOI* src, KrAOI* dst, const std::array<double, 6>& matrix, const KrSampling& how) {
    if (!InterpolatesPoints(how)) kAffineModulo.Throw(src, dst, matrix, how);
    kAffineModulo(*this, src, dst, matrix, how);
}
void KrLGeomet::RotateModulo(const KrAOI* src, KrAOI* dst, double degrees, const KrSampling& how) {
    if (!InterpolatesPoints(how)) kRotateModulo.Throw(src, dst, degrees, how);
    kRotateModulo(*this, src, dst, degrees, how);
}

std::vector<OperationInfo> GeometryOperations() { return ListOperations(OperationsOf<KrLGeomet>::all); }
std::vector<OperationInfo> GeometryModuloOperations() { return ListOperations(OperationsOf<KrLGeomet>::modulo); }

}  // namespace KrN
