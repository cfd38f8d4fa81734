#include "measure/fringe/harmonics.h"

#include <algorithm>
#include <cmath>
#include <opencv2/core.hpp>

namespace measure {
namespace {

// A shift as a share of a period, 0 to 1.
double ShareOf(double shift) {
    const double periods = shift / (2 * CV_PI);
    return periods - std::floor(periods);
}

bool SameShare(double a, double b) {
    const double distance = std::abs(a - b);
    return std::min(distance, 1 - distance) < 1e-3;
}

}  // namespace

int EqualSteps(const std::vector<double>& shifts) {
    std::vector<double> different;
    std::vector<int> counts;
    for (const double shift : shifts) {
        const double share = ShareOf(shift);
        std::size_t i = 0;
        while (i < different.size() && !SameShare(different[i], share)) ++i;
        if (i == different.size()) {
            different.push_back(share);
            counts.push_back(0);
        }
        ++counts[i];
    }
    const auto steps = static_cast<int>(different.size());
    for (const int count : counts)
        if (count != counts.front()) return 0;
    for (const double share : different) {
        const double place = (share - different.front()) * steps;
        if (std::abs(place - std::round(place)) > 1e-3 * steps) return 0;
    }
    return steps;
}

std::vector<int> HarmonicsOf(const std::vector<double>& shifts) {
    const int steps = EqualSteps(shifts);
    return steps > 0 ? std::vector<int>{steps, 2 * steps} : std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8};
}

}  // namespace measure
