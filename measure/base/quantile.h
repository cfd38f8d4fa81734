#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace measure {

// The value below which a share of 0 to 1 of the values lies: the one next to that place in their order, of two the
// upper one. Reorders them. 0 for none, as have the figures of nothing.
template <class T>
T QuantileOf(std::vector<T>& values, double share) {
    if (values.empty()) return T(0);
    const double place = std::floor(std::clamp(share, 0.0, 1.0) * static_cast<double>(values.size() - 1) + 0.5);
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(place);
    std::nth_element(values.begin(), at, values.end());
    return *at;
}
template <class T>
T MedianOf(std::vector<T>& values) {
    return QuantileOf(values, 0.5);
}

}  // namespace measure
