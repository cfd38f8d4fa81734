#include "measure/fringe/figures.h"

#include <algorithm>

namespace measure {

double Quantile(std::vector<float>& values, double share) {
    if (values.empty()) return 0;
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), place, values.end());
    return static_cast<double>(*place);
}

double SaturatedShare(const FringePhase& phase) {
    return cv::countNonZero(phase.saturated) / std::max(1.0, static_cast<double>(phase.saturated.total()));
}

double MedianResidual(const FringePhase& phase) {
    if (phase.residual.empty()) return 0;
    return MedianOfUsable(phase, [&](int y, int x) { return phase.residual(y, x) / phase.modulation(y, x); });
}

}  // namespace measure
