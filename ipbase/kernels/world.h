#pragma once

#include "ipbase/kernels/rowtypes.h"

namespace KrN::kernels {

// The parameters of a lens with distortion.
struct LensTerms {
    double fx, fy, cx, cy, k1, k2, p1, p2, k3;
    bool IsDistorted() const { return k1 != 0 || k2 != 0 || p1 != 0 || p2 != 0 || k3 != 0; }
};

// The rays of `count` pixels of row y from column x on, distortion undone; NaN where the model folds over.
using RayRow = void (*)(double* rayX, double* rayY, const LensTerms& lens, double x, double y, std::size_t count);

// Rays of a camera. The point of a pixel at depth z is (x (base + slope z), y (base + slope z), z).
struct Rays {
    const double *x, *y;
    double base, slope;
};

// What leads from a phase to a depth. Pointers are those of the rays' row.

// The projector's frame is turned so that its coded coordinate comes first; the lens' pixels (fx, cx) are included in
// `scale` and `shift` from phase to normalised coordinate, its fy and cy are those of the other coordinate. The ray
// (x, y) holds the points offset + z * slope, either being m[0] x + m[1] y + m[2]; of a central camera all offsets,
// of a telecentric one all slopes are m[2].
struct StereoModel {
    double slope[3][3], offset[3][3];
    bool isCentral;
    double scale, shift;
    LensTerms projector;
};
// z = distance * p / (p + span), p = direction * (phase - reference)
struct PlaneModel {
    double distance, span, direction;
    const double* reference;
};
// z = (a + b phase) / (1 + c phase)
struct RationalModel {
    const double *a, *b, *c;
};
// z = a + b phase + c phase^2 + d phase^3
struct CubicModel {
    const double *a, *b, *c, *d;
};

template <class Model, class P>
using PointRow = void (*)(const Model& model, const Rays& rays, const P* phase, float* x, float* y, float* z,
                          std::size_t count);
// dst[i] = |dz / dphase| * noise[i]
template <class Model, class P>
using DepthNoiseRow = void (*)(const Model& model, const Rays& rays, const P* phase, const float* noise, float* dst,
                               std::size_t count);
// The coordinate of the projector that is not coded, in its pixels.
template <class P>
using AcrossRow = void (*)(const StereoModel& model, const Rays& rays, const P* phase, float* dst, std::size_t count);

template <template <class, class> class Row>
using ModelRows =
    std::tuple<Row<StereoModel, float>, Row<StereoModel, double>, Row<PlaneModel, float>, Row<PlaneModel, double>,
               Row<RationalModel, float>, Row<RationalModel, double>, Row<CubicModel, float>, Row<CubicModel, double>>;

struct WorldKernels {
    RayRow rays;
    ModelRows<PointRow> points;
    ModelRows<DepthNoiseRow> noise;
    std::tuple<AcrossRow<float>, AcrossRow<double>> across;
    // NaN where the mask excludes; 255 where a value is NaN, else 0.
    void (*exclude)(float* values, const u8* mask, std::size_t count);
    void (*mark)(u8* excluded, const float* values, std::size_t count);
};

const WorldKernels& GetWorldKernels();

}  // namespace KrN::kernels
