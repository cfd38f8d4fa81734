#pragma once

#include <functional>

#include "ipbase/base/watch.h"
#include "ipbase/geometry/taps.h"
#include "ipbase/geometry/turn.h"

// Rotations by three shears, rows, columns, rows, on a canvas that nothing leaves: A. W. Paeth, "A fast algorithm for
// general raster rotation", 1986; M. Unser, P. Thevenaz and L. Yaroslavsky, "Convolution-based interpolation for fast,
// high-quality rotation of images", 1995.
namespace KrN::geometry {

struct ShearPlan {
    int quarters;             // turned first, exactly
    KrTSize<int> turned;      // the source's size after that
    double alpha, beta;       // row y moves by alpha * (y - centre), column x by beta * (x - centre)
    double centreX, centreY;  // on the canvas
    int padX, padY;           // columns and rows before the turned source
    KrTSize<int> padded;      // the turned source with as much on its other sides
    KrTSize<int> canvas;      // that, or a little more at the end for transforms
};
// Throws KrException for an angle that is no number.
ShearPlan PlanShears(KrTSize<int> size, double degrees, InterpolationMode mode);

// The size at which a rotated image is whole.
KrTSize<int> WholeSize(KrTSize<int> size, double degrees, InterpolationMode mode);

// Where pixel 0 of a destination of that size lies along an axis of the canvas, so that their middles meet.
int CutOffset(int padded, int canvas, int destination);

template <class P>
P* Row(const PixelPlane<P>& plane, int y) {
    return const_cast<P*>(plane.Row(y));
}

template <class P>
void Transpose(Source<P>& canvas) {
    Source<P> turned(canvas.Height(), canvas.Width(), true), other(canvas.Height(), canvas.Width(), true);
    TurnPlane(canvas.Plane(), turned.Plane(), 1);
    // A quarter turn has the rows of the transposed image in reverse order.
    for (int y = 0; y < turned.Height(); ++y)
        std::copy_n(turned.Row(turned.Height() - 1 - y), turned.Width(), other.Row(y));
    std::swap(canvas, other);
}

// `shear(canvas, shift)` moves every row y by shift(y) to the right.
template <class P, class Shear>
void ShearThrice(Source<P>& canvas, const ShearPlan& plan, double sign, const Shear& shear) {
    int pass = 0;
    const auto tell = [&](int row) {
        constexpr int kRowsPerTelling = 64;
        if (row % kRowsPerTelling == 0) WorkWatch::Tell((pass + static_cast<double>(row) / canvas.Height()) / 3);
    };
    const auto rows = [&](int y) {
        tell(y);
        return sign * plan.alpha * (y - plan.centreY);
    };
    const auto columns = [&](int x) {
        tell(x);
        return sign * plan.beta * (x - plan.centreX);
    };
    shear(canvas, rows);
    Transpose(canvas);
    ++pass;
    shear(canvas, columns);
    Transpose(canvas);
    ++pass;
    shear(canvas, rows);
}

// Copies the common part of two planes, of which pixel (0, 0) of the first lies at (x, y) of the second.
template <class A, class B, class Copy>
void Overlay(const PixelPlane<A>& a, const PixelPlane<B>& b, int x, int y, const Copy& copy) {
    const int left = std::max(0, -x), right = std::min(a.width, b.width - x);
    if (left >= right) return;
    for (int j = std::max(0, -y); j < std::min(a.height, b.height - y); ++j)
        copy(Row(a, j) + left, Row(b, j + y) + x + left, right - left);
}

// The canvas holds the source, turned, or for the way back the rotated image.
template <class T, class P>
Source<P> MakeCanvas(const PixelPlane<T>& src, const ShearPlan& plan, bool back, P fill) {
    Source<P> canvas(plan.canvas.cx, plan.canvas.cy, true);
    for (int y = 0; y < canvas.Height(); ++y) std::fill_n(canvas.Row(y), canvas.Width(), fill);
    const auto in = [](const T* from, P* to, int count) { std::copy_n(from, count, to); };
    if (back) {
        Overlay(src, canvas.Plane(), CutOffset(plan.padded.cx, plan.canvas.cx, src.width),
                CutOffset(plan.padded.cy, plan.canvas.cy, src.height), in);
        return canvas;
    }
    Source<T> turned(plan.turned.cx, plan.turned.cy, true);
    TurnPlane(src, turned.Plane(), plan.quarters);
    Overlay(turned.Plane(), canvas.Plane(), plan.padX, plan.padY, in);
    return canvas;
}

// The middle of the canvas, or for the way back the source turned back; what it does not reach becomes `fill`, as does
// what is not finite.
template <class T, class P>
void CutCanvas(const Source<P>& canvas, KrTAOI<T>& dst, const ShearPlan& plan, bool back, T fill) {
    Source<P> cut(dst.AOIWidth(), dst.AOIHeight(), true);
    const auto out = [](P* to, const P* from, int count) { std::copy_n(from, count, to); };
    if (back) {
        Source<P> turned(plan.turned.cx, plan.turned.cy, true);
        Overlay(turned.Plane(), canvas.Plane(), plan.padX, plan.padY, out);
        TurnPlane(turned.Plane(), cut.Plane(), (4 - plan.quarters) % 4);
    } else {
        for (int y = 0; y < cut.Height(); ++y) std::fill_n(cut.Row(y), cut.Width(), static_cast<P>(fill));
        Overlay(cut.Plane(), canvas.Plane(), CutOffset(plan.padded.cx, plan.canvas.cx, cut.Width()),
                CutOffset(plan.padded.cy, plan.canvas.cy, cut.Height()), out);
    }
    Output<T> output(dst, SizeOf(dst), nullptr);
    for (int y = 0; y < cut.Height(); ++y) {
        if constexpr (std::is_same_v<P, T>) {
            std::copy_n(cut.Row(y), cut.Width(), output.Row(y));
            output.Commit(y, fill, [&](std::size_t x) { return !std::isfinite(static_cast<double>(cut.Row(y)[x])); });
        } else {
            std::copy_n(cut.Row(y), cut.Width(), output.Line(y));
            output.Finish(y, fill, [](int) { return kNaN<double>; });
        }
    }
}

// A row that continues with the fill value on both sides, of which pixel 0 is pixel `first` of the row.
template <class P>
void Extend(std::vector<P>& extended, const P* row, int width, int first, P fill) {
    const int count = static_cast<int>(extended.size());
    const int begin = std::clamp(-first, 0, count), end = std::clamp(width - first, begin, count);
    std::fill_n(extended.data(), begin, fill);
    std::copy_n(row + first + begin, end - begin, extended.data() + begin);
    std::fill_n(extended.data() + end, count - end, fill);
}

// Moves rows by whole pixels.
template <class P>
struct NearestShear {
    P fill;
    template <class Shift>
    void operator()(Source<P>& canvas, const Shift& shift) const {
        std::vector<P> extended(static_cast<std::size_t>(canvas.Width()));
        for (int y = 0; y < canvas.Height(); ++y) {
            Extend(extended, canvas.Row(y), canvas.Width(), -static_cast<int>(std::round(shift(y))), fill);
            std::copy(extended.begin(), extended.end(), canvas.Row(y));
        }
    }
};

}  // namespace KrN::geometry
