#pragma once

#include <cstdint>
#include <numeric>

#include "imagemodel/krarrays.h"

// Means over the bins of a histogram, weighted by their counts.
namespace KrN {

// sum(count * f(bin)) over the bins that are not empty.
template <class F>
double Sum(const KrTBuf1D<std::uint32_t>& counts, const F& f) {
    double sum = 0.0;
    for (std::size_t i = 0; i < counts.Size(); ++i)
        if (counts[i] != 0) sum += counts[i] * f(static_cast<double>(i));
    return sum;
}

// At most 2^56: as many bins with 32-bit counts as there can be.
inline std::uint64_t Total(const KrTBuf1D<std::uint32_t>& counts) {
    return std::accumulate(counts.Data(), counts.Data() + counts.Size(), std::uint64_t{0});
}

template <class F>
double Mean(const KrTBuf1D<std::uint32_t>& counts, const F& f) {
    const std::uint64_t total = Total(counts);
    return total > 0 ? Sum(counts, f) / static_cast<double>(total) : 0.0;
}

inline double CentralMoment(const KrTBuf1D<std::uint32_t>& counts, int order) {
    const double mean = Mean(counts, [](double x) { return x; });
    return Mean(counts, [=](double x) {
        double power = x - mean;
        for (int k = 1; k < order; ++k) power *= x - mean;
        return power;
    });
}

}  // namespace KrN
