#include "ipbase/kernels/world.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ipbase/base/mask.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "ipbase/kernels/world.cpp"
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL)
#include <hwy/foreach_target.h>

#include "ipbase/kernels/rowloop-inl.h"

HWY_BEFORE_NAMESPACE();
namespace KrN::kernels::HWY_NAMESPACE {
namespace {  // the same short names stand in other files of this folder

constexpr std::size_t kChunk = 256;  // pixels whose rays stay in the first-level cache
constexpr int kRayRounds = 20;
constexpr double kRayError = 1e-7;  // normalised coordinates that a ray may miss its pixel by
constexpr int kNewtonRounds = 3;    // of the projector's coordinate
constexpr double kLastStep = 0.1;   // pixels; the next one would be below 1e-5
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr double kGreatest = std::numeric_limits<float>::max();

// The factor of radial distortion.
HWY_INLINE double Radial(const LensTerms& l, double r2) { return 1 + r2 * (l.k1 + r2 * (l.k2 + r2 * l.k3)); }
HWY_INLINE double TangentialX(const LensTerms& l, double x, double y, double r2) {
    return 2 * l.p1 * (x * y) + l.p2 * (r2 + 2 * (x * x));
}
HWY_INLINE double TangentialY(const LensTerms& l, double x, double y, double r2) {
    return l.p1 * (r2 + 2 * (y * y)) + 2 * l.p2 * (x * y);
}

// One iteration for some pixels of a row, the first one at `pixelX`.
HWY_ATTR void RayRound(double* rayX, double* rayY, const LensTerms& lens, double pixelX, double wantedY,
                       std::size_t count) {
    const LensTerms l = lens;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const double wantedX = (pixelX + static_cast<double>(static_cast<i32>(i)) - l.cx) / l.fx;
        const double x = rayX[i], y = rayY[i], r2 = x * x + y * y, inverse = 1 / Radial(l, r2);
        rayX[i] = (wantedX - TangentialX(l, x, y, r2)) * inverse;
        rayY[i] = (wantedY - TangentialY(l, x, y, r2)) * inverse;
    }
}

// NaN for rays that miss their pixels. Beyond where the model folds over, iterations may find its second image.
HWY_ATTR void RayCheck(double* rayX, double* rayY, const LensTerms& lens, double pixelX, double wantedY,
                       std::size_t count) {
    const LensTerms l = lens;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const double wantedX = (pixelX + static_cast<double>(static_cast<i32>(i)) - l.cx) / l.fx;
        const double x = rayX[i], y = rayY[i], r2 = x * x + y * y, radial = Radial(l, r2);
        const double missX = x * radial + TangentialX(l, x, y, r2) - wantedX;
        const double missY = y * radial + TangentialY(l, x, y, r2) - wantedY;
        const double rise = radial + 2 * r2 * (l.k1 + r2 * (2 * l.k2 + r2 * 3 * l.k3));
        const bool found = (missX * missX + missY * missY < kRayError * kRayError) & (rise > 0);
        rayX[i] = found ? x : std::numeric_limits<double>::quiet_NaN();
        rayY[i] = found ? y : std::numeric_limits<double>::quiet_NaN();
    }
}

HWY_ATTR void RayLoop(double* rayX, double* rayY, const LensTerms& l, double pixelX, double pixelY, std::size_t count) {
    const double wantedY = (pixelY - l.cy) / l.fy;
    for (std::size_t start = 0; start < count; start += kChunk) {
        const std::size_t size = std::min(kChunk, count - start);
        const double first = pixelX + static_cast<double>(start);
        double *x = rayX + start, *y = rayY + start;
        for (std::size_t i = 0; i < size; ++i) {
            x[i] = (first + static_cast<double>(i) - l.cx) / l.fx;
            y[i] = wantedY;
        }
        if (!l.IsDistorted()) continue;
        for (int k = 0; k < kRayRounds; ++k) RayRound(x, y, l, first, wantedY, size);
        RayCheck(x, y, l, first, wantedY, size);
    }
}

// A point of the projector's picture, its distortion undone, on the epipolar line of a camera ray.
struct OnLine {
    double along, across;  // NaN where no point explains the coordinate
    double rise;           // of the distorted coordinate with `along`
};

// Finds where the distorted coordinate is `wanted` on the line across = begin + lean * along.
template <bool distorted>
HWY_INLINE OnLine FindOnLine(const LensTerms& l, double wanted, double begin, double lean) {
    double u = wanted, step = 0, rise = 1;
    if constexpr (distorted)
        for (int k = 0; k < kNewtonRounds; ++k) {
            const double v = begin + lean * u, r2 = u * u + v * v, radial = Radial(l, r2);
            const double change = 2 * (u + v * lean);  // of r2 with u
            rise = radial + u * change * (l.k1 + r2 * (2 * l.k2 + r2 * 3 * l.k3)) + 2 * l.p1 * (v + u * lean) +
                   l.p2 * (change + 4 * u);
            step = (u * radial + TangentialX(l, u, v, r2) - wanted) / rise;
            u -= step;
        }
    u = (std::abs(step * l.fx) < kLastStep) & (rise > 0) ? u : std::numeric_limits<double>::quiet_NaN();
    return {u, begin + lean * u, rise};
}

HWY_INLINE double Linear(const double (&m)[3], double x, double y) { return m[0] * x + m[1] * y + m[2]; }

struct Depth {
    double z, slope;  // slope: of z with the phase
};
struct Seen {
    OnLine at;
    Depth depth;
};

// A camera ray holds the points o + z s of the projector's frame; its picture is a line, the cross product of o and s.
template <bool distorted>
HWY_INLINE Seen Triangulate(const StereoModel& m, double x, double y, double phase) {
    const double s0 = Linear(m.slope[0], x, y), o0 = Linear(m.offset[0], x, y);
    const double s1 = Linear(m.slope[1], x, y), o1 = Linear(m.offset[1], x, y);
    const double s2 = Linear(m.slope[2], x, y), o2 = Linear(m.offset[2], x, y);
    const double turn = o2 * s0 - o0 * s2, inverse = 1 / turn;
    const double lean = (o2 * s1 - o1 * s2) * inverse, begin = (o1 * s0 - o0 * s1) * inverse;
    const OnLine at = FindOnLine<distorted>(m.projector, m.scale * phase + m.shift, begin, lean);
    const double divisor = 1 / (s0 - at.along * s2);
    return {at, {(at.along * o2 - o0) * divisor, m.scale * turn * divisor * divisor / at.rise}};
}

template <bool distorted>
struct Stereo {
    StereoModel m;
    HWY_INLINE Depth At(const Rays& rays, std::size_t i, double phase) const {
        return Triangulate<distorted>(m, rays.x[i], rays.y[i], phase).depth;
    }
};
struct ReferencePlane {
    PlaneModel m;
    HWY_INLINE Depth At(const Rays&, std::size_t i, double phase) const {
        const double p = m.direction * (phase - m.reference[i]), inverse = 1 / (p + m.span);
        return {m.distance * p * inverse, m.direction * m.distance * m.span * inverse * inverse};
    }
};
struct Rational {
    RationalModel m;
    HWY_INLINE Depth At(const Rays&, std::size_t i, double phase) const {
        const double a = m.a[i], b = m.b[i], c = m.c[i], inverse = 1 / (1 + c * phase);
        return {(a + b * phase) * inverse, (b - a * c) * inverse * inverse};
    }
};
struct Cubic {
    CubicModel m;
    HWY_INLINE Depth At(const Rays&, std::size_t i, double phase) const {
        const double a = m.a[i], b = m.b[i], c = m.c[i], d = m.d[i];
        return {a + phase * (b + phase * (c + phase * d)), b + phase * (2 * c + phase * 3 * d)};
    }
};

template <class Law, class P>
HWY_ATTR void Points(const Law& law, const Rays& given, const P* phase, float* x, float* y, float* z,
                     std::size_t count) {
    const Law own = law;
    const Rays rays = given;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const double depth = own.At(rays, i, static_cast<double>(phase[i])).z;
        const double spread = rays.base + rays.slope * depth;
        const double px = rays.x[i] * spread, py = rays.y[i] * spread;
        // One that is not finite makes the sum so.
        const bool good = std::abs(depth) + std::abs(px) + std::abs(py) < kGreatest;
        x[i] = good ? static_cast<float>(px) : kNaN;
        y[i] = good ? static_cast<float>(py) : kNaN;
        z[i] = good ? static_cast<float>(depth) : kNaN;
    }
}

template <class Law, class P>
HWY_ATTR void Noise(const Law& law, const Rays& given, const P* phase, const float* noise, float* dst,
                    std::size_t count) {
    const Law own = law;
    const Rays rays = given;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const Depth depth = own.At(rays, i, static_cast<double>(phase[i]));
        const double sigma = std::abs(depth.slope) * static_cast<double>(noise[i]);
        dst[i] = sigma + std::abs(depth.z) < kGreatest ? static_cast<float>(sigma) : kNaN;
    }
}

template <bool distorted, class P>
HWY_ATTR void Across(const StereoModel& given, const Rays& givenRays, const P* phase, float* dst, std::size_t count) {
    const StereoModel m = given;
    const Rays rays = givenRays;
    const LensTerms l = m.projector;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const OnLine at = Triangulate<distorted>(m, rays.x[i], rays.y[i], static_cast<double>(phase[i])).at;
        const double u = at.along, v = at.across, r2 = u * u + v * v;
        const double seen = distorted ? v * Radial(l, r2) + TangentialY(l, u, v, r2) : v;
        const double pixel = l.fy * seen + l.cy;
        dst[i] = std::abs(pixel) < kGreatest ? static_cast<float>(pixel) : kNaN;
    }
}

HWY_ATTR void ExcludeLoop(float* values, const u8* mask, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) values[i] = mask[i] < kMaskLimit ? values[i] : kNaN;
}
HWY_ATTR void MarkLoop(u8* excluded, const float* values, std::size_t count) {
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) excluded[i] = values[i] == values[i] ? u8{0} : u8{255};
}

// Calls `run` with what the model computes by.
template <class F>
void WithLaw(const StereoModel& m, const F& run) {
    m.projector.IsDistorted() ? run(Stereo<true>{m}) : run(Stereo<false>{m});
}
template <class F>
void WithLaw(const PlaneModel& m, const F& run) {
    run(ReferencePlane{m});
}
template <class F>
void WithLaw(const RationalModel& m, const F& run) {
    run(Rational{m});
}
template <class F>
void WithLaw(const CubicModel& m, const F& run) {
    run(Cubic{m});
}

template <class Model, class P>
void PointLoop(const Model& m, const Rays& rays, const P* phase, float* x, float* y, float* z, std::size_t n) {
    WithLaw(m, [&](const auto& law) { Points(law, rays, phase, x, y, z, n); });
}
template <class Model, class P>
void NoiseLoop(const Model& m, const Rays& rays, const P* phase, const float* noise, float* dst, std::size_t n) {
    WithLaw(m, [&](const auto& law) { Noise(law, rays, phase, noise, dst, n); });
}
template <class P>
void AcrossLoop(const StereoModel& m, const Rays& rays, const P* phase, float* dst, std::size_t n) {
    m.projector.IsDistorted() ? Across<true>(m, rays, phase, dst, n) : Across<false>(m, rays, phase, dst, n);
}

template <class Model, class P>
void Assign(PointRow<Model, P>& row) {
    row = &PointLoop<Model, P>;
}
template <class Model, class P>
void Assign(DepthNoiseRow<Model, P>& row) {
    row = &NoiseLoop<Model, P>;
}

const WorldKernels& Kernels() {
    static const WorldKernels table = [] {
        WorldKernels k;
        k.rays = &RayLoop;
        std::apply([](auto&... row) { (Assign(row), ...); }, k.points);
        std::apply([](auto&... row) { (Assign(row), ...); }, k.noise);
        k.across = {&AcrossLoop<float>, &AcrossLoop<double>};
        k.exclude = &ExcludeLoop;
        k.mark = &MarkLoop;
        return k;
    }();
    return table;
}

}  // namespace
}  // namespace KrN::kernels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace KrN::kernels {
HWY_EXPORT(Kernels);
const WorldKernels& GetWorldKernels() { return HWY_DYNAMIC_DISPATCH(Kernels)(); }
}  // namespace KrN::kernels
#endif
