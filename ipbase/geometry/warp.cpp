// Values gathered at positions that a matrix or maps give.
#include "ipbase/geometry/taps.h"

namespace KrN {

using namespace geometry;

namespace {

// `positions(y, xs, ys)` gives those of a row of the destination.
template <class T, class S, class Positions>
void Warp(const Source<S>& source, KrTAOI<T>& dst, KrTSize<int> size, const KrSampling& how,
          const Positions& positions) {
    using R = Precision<T>;
    const T fill = FillValue<T>(how.fill);
    const auto& kernels = GetGeometryKernels();
    const auto row = KernelOf<WarpRow<R, S>>(how.mode == eCubic ? kernels.cubic : kernels.linear);
    const PixelPlane<S>& plane = source.Plane();
    Output<T> output(dst, size, how.excluded);
    std::vector<double> xs(output.Width()), ys(output.Width());
    for (int y = 0; y < size.cy; ++y) {
        positions(y, xs.data(), ys.data());
        R* line = output.Line(y);
        if (how.mode != eNearest)
            row(line, plane, xs.data(), ys.data(), xs.size());
        else
            for (std::size_t x = 0; x < xs.size(); ++x) {
                const double i = std::floor(xs[x] + 0.5), j = std::floor(ys[x] + 0.5);
                const bool inside = i >= 0 && j >= 0 && i < plane.width && j < plane.height;
                line[x] = inside ? static_cast<R>(plane.Row(static_cast<int>(j))[static_cast<int>(i)]) : kNaN<R>;
            }
        output.Finish(y, fill, [&](int x) {
            const auto at = static_cast<std::size_t>(x);
            return ValueAt(plane, xs[at], ys[at], how, fill);
        });
    }
}

template <class T>
void AffinePixels(const KrTAOI<T>* src, KrTAOI<T>* dst, const std::array<double, 6>& m, const KrSampling& how) {
    if (IsEmpty(src) || IsEmpty(dst)) return;
    const KrTSize<int> size = SizeOf(*dst);
    const auto width = static_cast<std::size_t>(size.cx);
    std::vector<double> alongX(width), alongY(width);
    for (std::size_t x = 0; x < width; ++x) {
        alongX[x] = m[0] * static_cast<double>(x);
        alongY[x] = m[3] * static_cast<double>(x);
    }
    WithSource(*src, dst, how, [&](const auto& source) {
        Warp(source, *dst, size, how, [&](int y, double* xs, double* ys) {
            const double x0 = m[1] * y + m[2], y0 = m[4] * y + m[5];
            for (std::size_t x = 0; x < width; ++x) xs[x] = alongX[x] + x0;
            for (std::size_t x = 0; x < width; ++x) ys[x] = alongY[x] + y0;
        });
    });
}

template <class T>
void RemapPixels(const KrTAOI<T>* src, const KrTAOI<float>* mapX, const KrTAOI<float>* mapY, KrTAOI<T>* dst,
                 const KrSampling& how) {
    const KrTSize<int> size = CommonRegion(mapX, mapY, dst);
    if (IsEmpty(src) || size.cx == 0) return;
    KrTAOI<float>* overwritten = nullptr;
    if constexpr (std::is_same_v<T, float>) overwritten = dst;
    const Source<float> horizontal(*mapX, overwritten), vertical(*mapY, overwritten);
    WithSource(*src, dst, how, [&](const auto& source) {
        Warp(source, *dst, size, how, [&](int y, double* xs, double* ys) {
            std::copy_n(horizontal.Plane().Row(y), size.cx, xs);
            std::copy_n(vertical.Plane().Row(y), size.cx, ys);
        });
    });
}

}  // namespace

void KrLGeomet::Affine88SW(const KrAOI8* s, KrAOI8* d, const Matrix& m, const KrSampling& how) {
    AffinePixels<u8>(s, d, m, how);
}
void KrLGeomet::Affine1616SW(const KrAOI16* s, KrAOI16* d, const Matrix& m, const KrSampling& how) {
    AffinePixels<u16>(s, d, m, how);
}
void KrLGeomet::AffineFFSW(const KrAOI32Float* s, KrAOI32Float* d, const Matrix& m, const KrSampling& how) {
    AffinePixels<float>(s, d, m, how);
}
void KrLGeomet::AffineDDSW(const KrAOI64Double* s, KrAOI64Double* d, const Matrix& m, const KrSampling& how) {
    AffinePixels<double>(s, d, m, how);
}
void KrLGeomet::Remap88SW(const KrAOI8* s, const KrAOI32Float* x, const KrAOI32Float* y, KrAOI8* d,
                          const KrSampling& how) {
    RemapPixels<u8>(s, x, y, d, how);
}
void KrLGeomet::Remap1616SW(const KrAOI16* s, const KrAOI32Float* x, const KrAOI32Float* y, KrAOI16* d,
                            const KrSampling& how) {
    RemapPixels<u16>(s, x, y, d, how);
}
void KrLGeomet::RemapFFSW(const KrAOI32Float* s, const KrAOI32Float* x, const KrAOI32Float* y, KrAOI32Float* d,
                          const KrSampling& how) {
    RemapPixels<float>(s, x, y, d, how);
}
void KrLGeomet::RemapDDSW(const KrAOI64Double* s, const KrAOI32Float* x, const KrAOI32Float* y, KrAOI64Double* d,
                          const KrSampling& how) {
    RemapPixels<double>(s, x, y, d, how);
}

}  // namespace KrN
