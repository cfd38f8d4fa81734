#include "ipbase/ipLWorld.h"

#include <cmath>
#include <tuple>

#include "ipbase/world/errors.h"
#include "ipbase/world/operations.h"

namespace KrN {

using namespace world;

KrLPixelToWorld::KrLPixelToWorld() : mPixelsPerPeriod(KrMath::TwoPi) { mCamera.telecentric = true; }
KrLPixelToWorld::KrLPixelToWorld(const KrLPixelToWorld&) = default;
KrLPixelToWorld& KrLPixelToWorld::operator=(const KrLPixelToWorld&) = default;
KrLPixelToWorld::~KrLPixelToWorld() = default;

template <>
struct OperationsOf<KrLPixelToWorld> {
    using T = KrLPixelToWorld;
    using Masks = T::Masks;
    using Source = const KrAOI*;
    using Points = Operation<void(T&, Source, KrAOI*, KrAOI*, KrAOI*, const Masks&)>;
    using Row = Operation<void(T&, Source, KrAOI*, const Masks&)>;
    using Noise = Operation<void(T&, Source, Source, KrAOI*, const Masks&)>;
    using Position = Operation<void(T&, Source, double, const Masks&)>;

    static constexpr const wchar_t* kFile = L"C\\ipLWorld";
    static constexpr std::tuple all{
        Points::Of<&T::ExecuteFSW, &T::ExecuteDSW>(kFile, 120, L"Execute( %s, %s, %s, %s )"),
        Row::Of<&T::PredictRowFSW, &T::PredictRowDSW>(kFile, 160, L"PredictRow( %s, %s )"),
        Noise::Of<&T::PredictNoiseFSW, &T::PredictNoiseDSW>(kFile, 200, L"PredictNoise( %s, %s, %s )"),
        Position::Of<&T::AddPlaneFSW, &T::AddPlaneDSW>(kFile, 240, L"AddPlane( %s, %g )")};
};

namespace {

const auto& [kPoints, kPredictRow, kPredictNoise, kAddPlane] = OperationsOf<KrLPixelToWorld>::all;

bool AreFinite(std::initializer_list<double> values) {
    for (const double v : values)
        if (!std::isfinite(v)) return false;
    return true;
}

void Check(const SrLens& l, std::uint32_t line) {
    if (!AreFinite({l.fx, l.fy, l.cx, l.cy, l.k1, l.k2, l.p1, l.p2, l.k3}) || l.fx == 0 || l.fy == 0)
        Throw(line, L"a focal length is 0, or a parameter of a lens is no number");
}

// Three rows of length 1 at right angles to each other, the third one being the product of the others.
bool IsRotation(const KrLPixelToWorld::Rotation& r) {
    constexpr double tolerance = 1e-4;
    const auto isNear = [](double v, double wanted) { return std::abs(v - wanted) <= tolerance; };
    for (std::size_t i = 0; i < 9; i += 3)
        for (std::size_t k = i; k < 9; k += 3)
            if (!isNear(r[i] * r[k] + r[i + 1] * r[k + 1] + r[i + 2] * r[k + 2], i == k ? 1 : 0)) return false;
    const double turn =
        r[0] * (r[4] * r[8] - r[5] * r[7]) - r[1] * (r[3] * r[8] - r[5] * r[6]) + r[2] * (r[3] * r[7] - r[4] * r[6]);
    return turn > 0;
}

}  // namespace

void KrLPixelToWorld::SetCamera(const SrLens& camera) {
    Check(camera, 40);
    mCamera = camera;
    mRayX.Resize(0, 0);
    mRayY.Resize(0, 0);
}

void KrLPixelToWorld::SetProjector(const SrLens& projector, const Rotation& rotation, const Vector& translation) {
    Check(projector, 41);
    if (!IsRotation(rotation)) Throw(42, L"the matrix is no rotation");
    if (!AreFinite({translation[0], translation[1], translation[2]})) Throw(42, L"the translation is no number");
    mProjector = projector;
    mRotation = rotation;
    mTranslation = translation;
    mModel = eStereo;
}

void KrLPixelToWorld::SetPhaseScale(double pixelsPerPeriod, double origin, int direction, Coordinate along) {
    if (!(pixelsPerPeriod > 0) || !AreFinite({pixelsPerPeriod, origin}) || (direction != 1 && direction != -1) ||
        (along != eColumn && along != eRow))
        Throw(43, L"projector pixels per period must be above 0, the direction 1 or -1, the origin a number");
    mPixelsPerPeriod = pixelsPerPeriod;
    mOrigin = origin;
    mDirection = direction;
    mAlong = along;
}

void KrLPixelToWorld::SetReferencePlane(const SrReferencePlane& plane, const KrAOI64Double* phase) {
    if (!AreFinite({plane.distance, plane.baseline, plane.frequency}) || !(plane.distance > 0) ||
        !(plane.baseline > 0) || !(plane.frequency > 0))
        Throw(44, L"distance, baseline and frequency of a reference plane must be above 0");
    SetCoefficients(ePlane, {phase});
    mReference = plane;
}

void KrLPixelToWorld::SetRational(const KrAOI64Double& a, const KrAOI64Double& b, const KrAOI64Double& c) {
    SetCoefficients(eRational, {&a, &b, &c});
}
void KrLPixelToWorld::SetCubic(const KrAOI64Double& a, const KrAOI64Double& b, const KrAOI64Double& c,
                               const KrAOI64Double& d) {
    SetCoefficients(eCubic, {&a, &b, &c, &d});
}

void KrLPixelToWorld::SetCoefficients(Model model, std::array<const KrAOI64Double*, kMostCoefficients> images) {
    std::array<Plane, kMostCoefficients> copies;
    for (std::size_t i = 0; i < images.size() && images[i]; ++i) {
        if (images[i]->AOISize() != images[0]->AOISize()) Throw(45, L"the coefficients differ in size");
        images[i]->ReadImage(copies[i]);
    }
    mCoefficients = std::move(copies);
    mModel = model;
}

int KrLPixelToWorld::GetCoefficientCount() const { return mModel == eRational ? 3 : mModel == eCubic ? 4 : 0; }

void KrLPixelToWorld::AddPlane(const KrAOI* phase, double z, const KrAOI8* mask) {
    kAddPlane(*this, phase, z, {mask, nullptr});
}
void KrLPixelToWorld::Execute(const KrAOI* phase, const KrAOI8* mask, KrAOI* x, KrAOI* y, KrAOI* z,
                              KrAOI8* resultMask) {
    kPoints(*this, phase, x, y, z, {mask, resultMask});
}
void KrLPixelToWorld::PredictRow(const KrAOI* phase, const KrAOI8* mask, KrAOI* row, KrAOI8* resultMask) {
    kPredictRow(*this, phase, row, {mask, resultMask});
}
void KrLPixelToWorld::PredictNoise(const KrAOI* phase, const KrAOI* phaseNoise, const KrAOI8* mask, KrAOI* noise,
                                   KrAOI8* resultMask) {
    kPredictNoise(*this, phase, phaseNoise, noise, {mask, resultMask});
}

std::vector<OperationInfo> WorldOperations() { return ListOperations(OperationsOf<KrLPixelToWorld>::all); }

}  // namespace KrN
