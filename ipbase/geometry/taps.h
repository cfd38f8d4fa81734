#pragma once

#include <vector>

#include "ipbase/geometry/source.h"

// Which pixels have a share in a value, and which.
namespace KrN::geometry {

// The pixel that stands for pixel i of n; -1 for the fill value.
inline int MapBorder(int i, int n, BorderRule rule) {
    if (i >= 0 && i < n) return i;
    if (rule == eBorderReplicate) return i < 0 ? 0 : n - 1;
    if (rule == eBorderReflect) {
        const int period = std::max(1, 2 * (n - 1));
        const int folded = (i % period + period) % period;
        return folded < n ? folded : period - folded;
    }
    if (rule == eBorderWrap) return (i % n + n) % n;
    return -1;
}

// Of one position along an axis: pixels first, first + 1, ...
struct Taps {
    int first = 0;
    std::size_t count = 1;
    double weights[4] = {1.0, 0.0, 0.0, 0.0};
};
Taps TapsAt(double position, InterpolationMode mode);

// Of all positions along an axis; the weights of tap k stand one behind the other from k * positions on.
struct AxisTaps {
    std::size_t count = 0;
    std::vector<i32> first;
    std::vector<double> weights;
    double Weight(std::size_t k, std::size_t position) const { return weights[k * first.size() + position]; }
};
// For a change of size; any mode but eFourier.
AxisTaps ScaleTaps(int source, int destination, InterpolationMode mode);
// The pixels that stand for those of another size.
std::vector<i32> NearestIndices(int source, int destination);

// One position of an axis.
struct AxisView {
    const AxisTaps& axis;
    std::size_t position;
    int first;
    std::size_t count;
    double Weight(std::size_t k) const { return axis.Weight(k, position); }
};
inline AxisView View(const AxisTaps& axis, int position) {
    const auto at = static_cast<std::size_t>(position);
    return {axis, at, axis.first[at], axis.count};
}

// A position that an integer can hold and that shows the same: periodic borders repeat, others end.
double ReduceShift(double shift, int size, BorderRule border);

// The weighted mean of the pixels that are finite, NaN where they are less than half of all weights; `whole` says
// whether all were finite. Axes are of Taps or, at one position, of AxisTaps. Weights of 0 ask for no pixel.
template <class S, class X, class Y>
double MeanOfFinite(const PixelPlane<S>& plane, BorderRule border, double fill, const X& xs, const Y& ys, bool& whole) {
    double sum = 0.0, admitted = 0.0, all = 0.0;
    whole = true;
    for (std::size_t j = 0; j < ys.count; ++j) {
        if (ys.Weight(j) == 0.0) continue;
        const int y = MapBorder(ys.first + static_cast<int>(j), plane.height, border);
        for (std::size_t i = 0; i < xs.count; ++i) {
            const double w = xs.Weight(i) * ys.Weight(j);
            if (w == 0.0) continue;
            const int x = MapBorder(xs.first + static_cast<int>(i), plane.width, border);
            const double v = x < 0 || y < 0 ? fill : static_cast<double>(plane.Row(y)[x]);
            all += w;
            if (std::isfinite(v)) {
                sum += v * w;
                admitted += w;
            } else {
                whole = false;
            }
        }
    }
    // Exactly half is enough, whatever rounding says.
    return admitted >= 0.5 * all * (1.0 - 1e-9) ? sum / admitted : kNaN<double>;
}

struct TapsView {
    int first;
    std::size_t count;
    const double* weights;
    double Weight(std::size_t k) const { return weights[k]; }
};
inline TapsView View(const Taps& taps) { return {taps.first, taps.count, taps.weights}; }

// The value at a position with border and excluded pixels; NaN where it is excluded itself.
template <class S>
double ValueAt(const PixelPlane<S>& plane, double x, double y, const KrSampling& how, double fill) {
    if (!std::isfinite(x) || !std::isfinite(y)) return kNaN<double>;
    if (how.border == eBorderFill && (x <= -2.0 || y <= -2.0 || x >= plane.width + 1.0 || y >= plane.height + 1.0))
        return fill;  // whatever the mode
    x = ReduceShift(x, plane.width, how.border);
    y = ReduceShift(y, plane.height, how.border);
    bool whole = false;
    const Taps xs = TapsAt(x, how.mode), ys = TapsAt(y, how.mode);
    const double value = MeanOfFinite(plane, how.border, fill, View(xs), View(ys), whole);
    if (whole || how.mode != eCubic) return value;
    const Taps linearX = TapsAt(x, eLinear), linearY = TapsAt(y, eLinear);
    return MeanOfFinite(plane, how.border, fill, View(linearX), View(linearY), whole);
}

}  // namespace KrN::geometry
