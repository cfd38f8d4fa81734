#pragma once

#include <array>
#include <vector>

#include "imagemodel/kraoi.h"

namespace KrN {

// A pinhole with the distortion of OpenCV's model, its names and order: with x = X / Z, y = Y / Z, r2 = x x + y y and
// f = 1 + k1 r2 + k2 r2^2 + k3 r2^3 a point is seen at the pixel (fx x' + cx, fy y' + cy), where
// x' = x f + 2 p1 x y + p2 (r2 + 2 x x) and y' = y f + p1 (r2 + 2 y y) + 2 p2 x y. The centres of pixels are whole
// numbers. A telecentric lens sees along parallel rays: x = X and y = Y, in millimetres, fx and fy are pixels per
// millimetre.
struct SrLens {
    double fx = 1, fy = 1, cx = 0, cy = 0;
    double k1 = 0, k2 = 0, p1 = 0, p2 = 0, k3 = 0;
    bool telecentric = false;
};

// A plane at right angles to the camera's axis, before which camera and projector stand at the same distance.
struct SrReferencePlane {
    double distance = 0;   // L of camera and projector from the plane, millimetres
    double baseline = 0;   // B from the camera to the projector, millimetres
    double frequency = 0;  // f of the fringes on the plane, periods per millimetre
};

struct SrWorldPoint {
    float x, y, z;  // millimetres; NaN without a value
};

// From the absolute phase that a camera pixel sees to the point in space that it sees it at.
//
// Coordinates are millimetres in the frame of the camera: x right, y down, z away from it. Lens distortion is undone
// with 20 iterations: 5 would leave 3e-3 pixel at k1 = -0.3, 20 leave 1e-12. What z is depends on the model, which the
// last of SetProjector, SetReferencePlane, SetRational, SetCubic, FitRational and FitCubic chooses. All is computed in
// double precision; float results are rounded once. Phases are radians.
//
// Operations work on the common region of the images that are given; its pixel (x, y) is that of the camera at
// (x + origin.x, y + origin.y), see Prepare. Pixels with a mask value of 64 and more have no value, nor do phases that
// are not finite, and phases that no point explains. They become NaN; the result mask, if there is one, becomes 255
// there and 0 elsewhere. Negative depths remain: they tell of a wrong direction, origin or pose. Destinations may be
// the image of the phase; one that shares pixels with another destination is refused.
//
// Other pixel types throw KrNotImplementedException (file "C\ipLWorld"), and values that make no sense KrException,
// before anything is changed. One object serves one thread at a time; copies are independent.
class VORIP_API KrLPixelToWorld {
public:
    using Rotation = std::array<double, 9>;  // row by row
    using Vector = std::array<double, 3>;    // millimetres
    // Along which coordinate of the projector the phase runs: fringes along eColumn are vertical.
    enum Coordinate : int { eColumn = 0, eRow = 1 };
    static constexpr int kMostCoefficients = 4;

    // Begins with a telecentric camera of one pixel per millimetre, whose x and y are those of the pixel.
    KrLPixelToWorld();
    KrLPixelToWorld(const KrLPixelToWorld&);
    KrLPixelToWorld& operator=(const KrLPixelToWorld&);
    virtual ~KrLPixelToWorld();

    // Throws KrException (line 40) for focal lengths of 0 and for parameters that are not finite.
    void SetCamera(const SrLens& camera);
    // Stereo: the point is where the camera's ray meets the surface of light of the projector's column. A point X of
    // the camera's frame is rotation * X + translation in the projector's. The distortion of the projector needs its
    // row, too: three rounds of Newton's method along the epipolar line of the pixel find both. Throws KrException
    // (line 41) when the lens makes no sense, and (line 42) when the rotation is none: its rows must be orthonormal to
    // 1e-4 and right-handed.
    void SetProjector(const SrLens& projector, const Rotation& rotation, const Vector& translation);
    // The projector's coordinate is origin + direction * pixelsPerPeriod * phase / (2 pi); the origin is in projector
    // pixels, and the direction is -1 where the phase falls with the coordinate. For images that hold the coordinate
    // itself, pixelsPerPeriod is 2 pi, the origin 0 and the direction 1, as they are in the beginning. Throws
    // KrException (line 43) when pixelsPerPeriod is not above 0, the direction not 1 or -1, or the origin not finite.
    void SetPhaseScale(double pixelsPerPeriod, double origin = 0.0, int direction = 1, Coordinate along = eColumn);
    // Height above a plane: z = L p / (p + 2 pi f B) with p = direction * (phase - that of the plane), towards the
    // camera. Where p is positive above the plane depends on the arrangement: the direction is that of SetPhaseScale.
    // `phase` is that of the plane, as seen by the camera; without it, phases are already differences to it. Throws
    // KrException (line 44) when distance, baseline or frequency is not above 0.
    void SetReferencePlane(const SrReferencePlane& plane, const KrAOI64Double* phase = nullptr);
    // z = (a + b phase) / (1 + c phase), coefficients for every pixel: exact for a projector without distortion. Throws
    // KrException (line 45) when they differ in size; as SetCubic.
    void SetRational(const KrAOI64Double& a, const KrAOI64Double& b, const KrAOI64Double& c);
    // z = a + b phase + c phase^2 + d phase^3.
    void SetCubic(const KrAOI64Double& a, const KrAOI64Double& b, const KrAOI64Double& c, const KrAOI64Double& d);

    // Coefficients from phases, F or D, of a plane at known z, over the size of the first one; line 240. x and y are
    // right when z counts from the camera. All planes have one size, else KrException (line 46); at most 255.
    void AddPlane(const KrAOI* phase, double z, const KrAOI8* mask = nullptr);
    void ClearPlanes() { mPlanes.clear(); }
    // Least squares over the planes, for each pixel; rational ones by the linear equations z + c z phase = a + b phase,
    // weighted once more by what they give (C. K. Sanathanan and J. Koerner, "Transfer function synthesis as a ratio of
    // two complex polynomials", 1963). Pixels that too few planes determine have coefficients of NaN. Throw KrException
    // (line 47) for fewer than three (rational) or four (cubic) planes.
    void FitRational();
    void FitCubic();
    // The number of coefficients, 0 for other models, and coefficient i in the common region with `dst`. Throws
    // KrException (line 51) when there is none of that number.
    int GetCoefficientCount() const;
    void GetCoefficient(int i, KrAOI64Double& dst) const;

    // Computes the rays of a camera picture, or of a part of one that begins at `origin`. Operations on more than what
    // was prepared do it themselves.
    void Prepare(const KrTSize<short>& size, const KrTPoint<short>& origin = {0, 0});

    // Phase F or D, points F; line 120. `mask` and `resultMask` may be null.
    void Execute(const KrAOI* phase, const KrAOI8* mask, KrAOI* x, KrAOI* y, KrAOI* z, KrAOI8* resultMask = nullptr);
    // Where the projector's other coordinate must be (its row, when the phase runs along columns), in projector pixels;
    // phase F or D, destination F; line 160. Where both directions are decoded, the difference to it tells how well
    // calibration and decoding fit. Throws KrException (line 48) without a projector.
    void PredictRow(const KrAOI* phase, const KrAOI8* mask, KrAOI* row, KrAOI8* resultMask = nullptr);
    // The standard deviation of z, millimetres, that the one of the phase, radians, causes: |dz / dphase| times it;
    // phase F or D, its deviation and the destination F; line 200.
    void PredictNoise(const KrAOI* phase, const KrAOI* phaseNoise, const KrAOI8* mask, KrAOI* noise,
                      KrAOI8* resultMask = nullptr);
    // The same as Execute for one position of the camera picture, which need not be a whole number. Coefficients are
    // those of the nearest pixel.
    SrWorldPoint WorldPoint(double x, double y, double phase) const;

    template <class>
    friend struct OperationsOf;

protected:
    // Masks that may be missing.
    struct Masks {
        const KrAOI8* mask;
        KrAOI8* result;
    };
    enum Model : int { eNone, eStereo, ePlane, eRational, eCubic };

    virtual void ExecuteFSW(const KrAOI32Float*, KrAOI32Float* x, KrAOI32Float* y, KrAOI32Float* z, const Masks&);
    virtual void ExecuteDSW(const KrAOI64Double*, KrAOI32Float* x, KrAOI32Float* y, KrAOI32Float* z, const Masks&);
    virtual void PredictRowFSW(const KrAOI32Float*, KrAOI32Float* row, const Masks&);
    virtual void PredictRowDSW(const KrAOI64Double*, KrAOI32Float* row, const Masks&);
    virtual void PredictNoiseFSW(const KrAOI32Float*, const KrAOI32Float* phaseNoise, KrAOI32Float*, const Masks&);
    virtual void PredictNoiseDSW(const KrAOI64Double*, const KrAOI32Float* phaseNoise, KrAOI32Float*, const Masks&);
    virtual void AddPlaneFSW(const KrAOI32Float*, double z, const Masks&);
    virtual void AddPlaneDSW(const KrAOI64Double*, double z, const Masks&);

    Model GetModel() const { return mModel; }
    const SrLens& GetCamera() const { return mCamera; }
    const SrLens& GetProjector() const { return mProjector; }

private:
    friend class WorldRows;
    using Plane = KrTBuf2D<double>;
    struct Position {
        double z;
        Plane phase;  // NaN where the mask excludes
    };

    void RequireModel() const;
    void PrepareFor(KrTSize<int> region);
    template <class P>
    void ExecutePixels(const KrTAOI<P>*, KrAOI32Float* x, KrAOI32Float* y, KrAOI32Float* z, const Masks&);
    template <class P>
    void PredictRowPixels(const KrTAOI<P>*, KrAOI32Float* row, const Masks&);
    template <class P>
    void PredictNoisePixels(const KrTAOI<P>*, const KrAOI32Float* phaseNoise, KrAOI32Float*, const Masks&);
    template <class T>
    void AddPosition(const KrTAOI<T>& phase, double z, const KrAOI8* mask);
    void SetCoefficients(Model model, std::array<const KrAOI64Double*, kMostCoefficients> images);
    void Fit(Model model);

    Model mModel = eNone;
    SrLens mCamera, mProjector;
    Rotation mRotation{};
    Vector mTranslation{};
    double mPixelsPerPeriod, mOrigin = 0;
    int mDirection = 1;
    Coordinate mAlong = eColumn;
    SrReferencePlane mReference;
    // Of the reference plane its phase, or nothing.
    std::array<Plane, kMostCoefficients> mCoefficients;
    std::vector<Position> mPlanes;
    // What was prepared: empty until then.
    KrTPoint<short> mFirst{0, 0};
    Plane mRayX, mRayY;
};

}  // namespace KrN
