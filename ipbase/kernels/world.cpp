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
constexpr double kLastStep = 0.05;  // pixels; the next one would be below 1e-3
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

template <class T>
struct Terms {
    T k1, k2, k3, p1, p2;
    explicit Terms(const LensTerms& l)
        : k1(static_cast<T>(l.k1)),
          k2(static_cast<T>(l.k2)),
          k3(static_cast<T>(l.k3)),
          p1(static_cast<T>(2 * l.p1)),
          p2(static_cast<T>(l.p2)) {}
};

// One round of Newton's method for the point at u, v = begin + lean * u, whose distorted coordinate shall be `wanted`.
template <class T>
HWY_INLINE T NextOnLine(const Terms<T>& l, T begin, T lean, T wanted, T u, T& inverse) {
    const T v = begin + lean * u, r2 = u * u + v * v, half = u + v * lean;  // half: of the rise of r2 with u
    const T radial = T{1} + r2 * (l.k1 + r2 * (l.k2 + r2 * l.k3));
    const T rise = radial + T{2} * u * half * (l.k1 + r2 * (T{2} * l.k2 + r2 * (T{3} * l.k3))) + l.p1 * (v + u * lean) +
                   T{2} * l.p2 * (half + T{2} * u);
    inverse = T{1} / rise;
    return u - (u * radial + l.p1 * (u * v) + l.p2 * (r2 + T{2} * (u * u)) - wanted) * inverse;
}

HWY_INLINE double Linear(const double (&m)[3], double x, double y) { return m[0] * x + m[1] * y + m[2]; }

struct Depth {
    double z, slope;  // slope: of z with the phase
};

// A camera ray holds the points o + z s of the projector's frame; its picture is a line, the cross product of o and s.
// Rays of a pinhole all begin at one point, those of a telecentric camera have one direction.
template <bool central>
struct Ray {
    double s0, s2, o0, o2;
    HWY_INLINE Ray(const StereoModel& m, double x, double y)
        : s0(Slope(m, 0, x, y)), s2(Slope(m, 2, x, y)), o0(Offset(m, 0, x, y)), o2(Offset(m, 2, x, y)) {}
    static HWY_INLINE double Slope(const StereoModel& m, int k, double x, double y) {
        return central ? Linear(m.slope[k], x, y) : m.slope[k][2];
    }
    static HWY_INLINE double Offset(const StereoModel& m, int k, double x, double y) {
        return central ? m.offset[k][2] : Linear(m.offset[k], x, y);
    }
    HWY_INLINE double Turn() const { return o2 * s0 - o0 * s2; }
};

// Where the pixels of a chunk are in the projector's picture, distortion undone: NaN where no point explains the phase.
struct Found {
    double along[kChunk], begin[kChunk], lean[kChunk];  // across = begin + lean * along: the epipolar line
    double inverse[kChunk];                             // of the rise of the distorted coordinate with `along`
};

// Step by step for all pixels of a chunk: what a pixel needs is one long chain, of which few fit into a CPU at a time.
// Three rounds: two in single precision, which leave some 1e-7, and one in double precision with the rise of the
// second, which leaves 1e-6 of that.
template <bool distorted, bool central, class P>
HWY_ATTR void Find(const StereoModel& given, const double* x, const double* y, const P* phase, Found& found,
                   std::size_t count) {
    const StereoModel m = given;
    double *along = found.along, *begins = found.begin, *leans = found.lean, *inverses = found.inverse;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const Ray<central> ray(m, x[i], y[i]);
        const double s1 = ray.Slope(m, 1, x[i], y[i]), o1 = ray.Offset(m, 1, x[i], y[i]), inverse = 1 / ray.Turn();
        leans[i] = (ray.o2 * s1 - o1 * ray.s2) * inverse;
        begins[i] = (o1 * ray.s0 - ray.o0 * s1) * inverse;
        along[i] = m.scale * static_cast<double>(phase[i]) + m.shift;
        inverses[i] = 1;
    }
    if constexpr (!distorted) return;
    float wanted[kChunk], begin[kChunk], lean[kChunk], rough[kChunk], inverse[kChunk];
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        rough[i] = wanted[i] = static_cast<float>(along[i]);
        begin[i] = static_cast<float>(begins[i]);
        lean[i] = static_cast<float>(leans[i]);
    }
    const Terms<float> f(m.projector);
    for (int round = 0; round < 2; ++round) {
        VORIP_INDEPENDENT_LOOP
        for (std::size_t i = 0; i < count; ++i)
            rough[i] = NextOnLine(f, begin[i], lean[i], wanted[i], rough[i], inverse[i]);
    }
    const Terms<double> l(m.projector);
    const double fx = m.projector.fx;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const auto u = static_cast<double>(rough[i]);
        const double v = begins[i] + leans[i] * u, r2 = u * u + v * v;
        const double radial = 1 + r2 * (l.k1 + r2 * (l.k2 + r2 * l.k3));
        const double seen = u * radial + l.p1 * (u * v) + l.p2 * (r2 + 2 * (u * u));
        const auto quotient = static_cast<double>(inverse[i]);
        const double step = (seen - along[i]) * quotient;
        const bool good = (std::abs(step * fx) < kLastStep) & (quotient > 0);
        along[i] = good ? u - step : std::numeric_limits<double>::quiet_NaN();
        inverses[i] = quotient;
    }
}

// How depths follow from phases: `Begin` once for each chunk of pixels, then `At` for those pixels, of which pixel i of
// the row is pixel k of the chunk.
template <bool isDistorted, bool isCentral>
struct Stereo {
    static constexpr bool distorted = isDistorted;
    const StereoModel& model;
    Found& found;

    template <class P>
    void Begin(const Rays& rays, const P* phase, std::size_t start, std::size_t count) const {
        Find<isDistorted, isCentral>(model, rays.x + start, rays.y + start, phase + start, found, count);
    }
    struct Constant {
        StereoModel m;
        const Found* found;
        HWY_INLINE Depth At(const Rays& rays, std::size_t i, std::size_t k, double) const {
            const Ray<isCentral> ray(m, rays.x[i], rays.y[i]);
            const double u = found->along[k], divisor = 1 / (ray.s0 - u * ray.s2);
            return {(u * ray.o2 - ray.o0) * divisor, m.scale * ray.Turn() * divisor * divisor * found->inverse[k]};
        }
    };
    Constant Get() const { return {model, &found}; }
};
template <class Law>
struct Direct {
    Law law;
    template <class P>
    void Begin(const Rays&, const P*, std::size_t, std::size_t) const {}
    const Law& Get() const { return law; }
};
struct ReferencePlane {
    PlaneModel m;
    HWY_INLINE Depth At(const Rays&, std::size_t i, std::size_t, double phase) const {
        const double p = m.direction * (phase - m.reference[i]), inverse = 1 / (p + m.span);
        return {m.distance * p * inverse, m.direction * m.distance * m.span * inverse * inverse};
    }
};
struct Rational {
    RationalModel m;
    HWY_INLINE Depth At(const Rays&, std::size_t i, std::size_t, double phase) const {
        const double a = m.a[i], b = m.b[i], c = m.c[i], inverse = 1 / (1 + c * phase);
        return {(a + b * phase) * inverse, (b - a * c) * inverse * inverse};
    }
};
struct Cubic {
    CubicModel m;
    HWY_INLINE Depth At(const Rays&, std::size_t i, std::size_t, double phase) const {
        const double a = m.a[i], b = m.b[i], c = m.c[i], d = m.d[i];
        return {a + phase * (b + phase * (c + phase * d)), b + phase * (2 * c + phase * 3 * d)};
    }
};

template <class Law, class P>
HWY_ATTR void Points(const Law& law, const Rays& given, const P* phase, float* x, float* y, float* z, std::size_t start,
                     std::size_t count) {
    const auto own = law.Get();
    const Rays rays = given;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t k = 0; k < count; ++k) {
        const std::size_t i = start + k;
        const double depth = own.At(rays, i, k, static_cast<double>(phase[i])).z;
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
                    std::size_t start, std::size_t count) {
    const auto own = law.Get();
    const Rays rays = given;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t k = 0; k < count; ++k) {
        const std::size_t i = start + k;
        const Depth depth = own.At(rays, i, k, static_cast<double>(phase[i]));
        const double sigma = std::abs(depth.slope) * static_cast<double>(noise[i]);
        dst[i] = sigma + std::abs(depth.z) < kGreatest ? static_cast<float>(sigma) : kNaN;
    }
}

HWY_ATTR void Across(const LensTerms& given, const Found& found, float* dst, std::size_t count) {
    const LensTerms l = given;
    const double *along = found.along, *begin = found.begin, *lean = found.lean;
    VORIP_INDEPENDENT_LOOP
    for (std::size_t i = 0; i < count; ++i) {
        const double u = along[i], v = begin[i] + lean[i] * u, r2 = u * u + v * v;
        const double pixel = l.fy * (v * Radial(l, r2) + TangentialY(l, u, v, r2)) + l.cy;
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

// Calls `run` with the law of a model.
template <class F>
void WithLaw(const StereoModel& m, const F& run) {
    Found found;
    if (m.projector.IsDistorted())
        m.isCentral ? run(Stereo<true, true>{m, found}) : run(Stereo<true, false>{m, found});
    else
        m.isCentral ? run(Stereo<false, true>{m, found}) : run(Stereo<false, false>{m, found});
}
template <class F>
void WithLaw(const PlaneModel& m, const F& run) {
    run(Direct<ReferencePlane>{{m}});
}
template <class F>
void WithLaw(const RationalModel& m, const F& run) {
    run(Direct<Rational>{{m}});
}
template <class F>
void WithLaw(const CubicModel& m, const F& run) {
    run(Direct<Cubic>{{m}});
}

// Calls `run(law, start, count)` for all chunks of a row.
template <class Model, class P, class F>
void ForChunks(const Model& m, const Rays& rays, const P* phase, std::size_t count, const F& run) {
    WithLaw(m, [&](const auto& law) {
        for (std::size_t start = 0; start < count; start += kChunk) {
            const std::size_t size = std::min(kChunk, count - start);
            law.Begin(rays, phase, start, size);
            run(law, start, size);
        }
    });
}

template <class Model, class P>
void PointLoop(const Model& m, const Rays& rays, const P* phase, float* x, float* y, float* z, std::size_t n) {
    ForChunks(m, rays, phase, n, [&](const auto& law, std::size_t start, std::size_t count) {
        Points(law, rays, phase, x, y, z, start, count);
    });
}
template <class Model, class P>
void NoiseLoop(const Model& m, const Rays& rays, const P* phase, const float* noise, float* dst, std::size_t n) {
    ForChunks(m, rays, phase, n, [&](const auto& law, std::size_t start, std::size_t count) {
        Noise(law, rays, phase, noise, dst, start, count);
    });
}
template <class P>
void AcrossLoop(const StereoModel& m, const Rays& rays, const P* phase, float* dst, std::size_t n) {
    ForChunks(m, rays, phase, n, [&](const auto& law, std::size_t start, std::size_t count) {
        Across(m.projector, law.found, dst + start, count);
    });
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
