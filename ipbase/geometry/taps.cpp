#include "ipbase/geometry/taps.h"

#include "ipbase/base/interpolation.h"

namespace KrN::geometry {

Taps TapsAt(double position, InterpolationMode mode) {
    Taps taps;
    if (mode == eNearest) {
        taps.first = static_cast<int>(std::floor(position + 0.5));
        return taps;
    }
    const double whole = std::floor(position), t = position - whole;
    taps.first = static_cast<int>(whole);
    taps.count = 2;
    taps.weights[0] = 1.0 - t;
    taps.weights[1] = t;
    if (mode == eCubic) {
        taps.first -= 1;
        taps.count = 4;
        CubicWeights(t, taps.weights);
    }
    return taps;
}

namespace {

double Triangle(double x) { return std::max(0.0, 1.0 - std::abs(x)); }

double Keys(double x) {
    const double t = std::abs(x);
    if (t >= 2.0) return 0.0;
    double weights[4];
    CubicWeights(t < 1.0 ? t : t - 1.0, weights);
    return t < 1.0 ? weights[1] : weights[0];
}

using Weights = std::vector<double>;

// What destination pixel i covers of each source pixel.
int Cover(std::int64_t i, std::int64_t source, std::int64_t destination, Weights& weights) {
    const std::int64_t begin = i * source, end = begin + source;  // in parts of 1 / destination
    const std::int64_t first = begin / destination;
    for (std::int64_t j = first; j * destination < end; ++j) {
        const std::int64_t overlap = std::min(end, (j + 1) * destination) - std::max(begin, j * destination);
        weights.push_back(static_cast<double>(overlap) / static_cast<double>(source));
    }
    return static_cast<int>(first);
}

int Widened(double centre, double factor, InterpolationMode mode, Weights& weights) {
    const double reach = (mode == eCubic ? 2.0 : 1.0) * factor;
    const double first = std::floor(centre - reach) + 1.0;
    double sum = 0.0;
    for (double j = first; j < centre + reach; j += 1.0) {
        const double x = (j - centre) / factor;
        weights.push_back(mode == eCubic ? Keys(x) : Triangle(x));
        sum += weights.back();
    }
    for (double& weight : weights) weight /= sum;
    return static_cast<int>(first);
}

int PositionTaps(int i, int source, int destination, InterpolationMode mode, Weights& weights) {
    if (mode == eArea && source > destination) return Cover(i, source, destination, weights);
    const double centre = (2.0 * i + 1.0) * source / (2.0 * destination) - 0.5;
    if (source > destination) return Widened(centre, static_cast<double>(source) / destination, mode, weights);
    const Taps taps = TapsAt(centre, mode == eCubic ? eCubic : eLinear);
    weights.assign(taps.weights, taps.weights + taps.count);
    return taps.first;
}

}  // namespace

std::vector<i32> NearestIndices(int source, int destination) {
    std::vector<i32> indices;
    for (std::int64_t i = 0; i < destination; ++i)
        indices.push_back(static_cast<i32>((2 * i + 1) * source / (2 * std::int64_t{destination})));
    return indices;
}

AxisTaps ScaleTaps(int source, int destination, InterpolationMode mode) {
    AxisTaps taps;
    if (mode == eNearest) {
        taps.count = 1;
        taps.first = NearestIndices(source, destination);
        taps.weights.assign(taps.first.size(), 1.0);
        return taps;
    }
    std::vector<Weights> all(static_cast<std::size_t>(destination));
    for (int i = 0; i < destination; ++i) {
        Weights& weights = all[static_cast<std::size_t>(i)];
        taps.first.push_back(PositionTaps(i, source, destination, mode, weights));
        taps.count = std::max(taps.count, weights.size());
    }
    taps.weights.resize(taps.count * all.size());
    for (std::size_t i = 0; i < all.size(); ++i)
        for (std::size_t k = 0; k < all[i].size(); ++k) taps.weights[k * all.size() + i] = all[i][k];
    return taps;
}

double ReduceShift(double shift, int size, BorderRule border) {
    if (border == eBorderWrap) return std::fmod(shift, size);
    if (border == eBorderReflect) return std::fmod(shift, std::max(1, 2 * (size - 1)));
    constexpr double kFarAway = 100000.0;  // more than any image and its taps are wide
    return std::clamp(shift, -kFarAway, kFarAway);
}

}  // namespace KrN::geometry
