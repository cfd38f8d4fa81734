#include "measure/absolute/causes.h"

#include <algorithm>
#include <cmath>
#include <complex>

#include "measure/absolute/checknotes.h"
#include "measure/absolute/tilegrid.h"

namespace measure {

std::string FindCurve(const DecodeState& state) {
    constexpr double kLeastSlope = 0.1, kExplained = 0.72;
    const FringePhase& finest = state.Finest();
    if (state.Count() < 2) return {};
    for (std::size_t set = 0; set < state.Count(); ++set) {
        if (static_cast<int>(set) == state.result.finest) continue;
        // The mean of a bent curve over fringes: A + f''/2 · B²/2.
        double squares = 0, products = 0, differences = 0;
        for (int y = 0; y < state.usable.rows; y += TileGrid::kDown)
            for (int x = 0; x < state.usable.cols; x += TileGrid::kAcross) {
                if (!state.usable(y, x)) continue;
                const auto mean = static_cast<double>(state.FinestMeans().At(y, x));
                const auto other = static_cast<double>(state.fringes[set].modulation(y, x)),
                           own = static_cast<double>(finest.modulation(y, x));
                const double contrast = (other * other - own * own) / (mean + 1),
                             difference = static_cast<double>(state.means[set].At(y, x)) - mean;
                squares += contrast * contrast;
                products += contrast * difference;
                differences += difference * difference;
            }
        const bool isBent =
            products < -kLeastSlope * squares && products * products > kExplained * squares * differences;
        if (!isBent) return {};
    }
    return "as a curve of the camera makes them do, sRGB or gamma, which also bends the phase: take linear pictures, "
           "without such a curve";
}

std::string FindSameSets(const DecodeState& state) {
    constexpr double kSame = 0.97, kMostAlike = 0.5, kOtherPeriod = 1.01;
    const auto meanOf = [&](const auto& phaseAt) {
        std::complex<double> sum;
        for (const cv::Point& at : state.best) sum += std::polar(1.0, static_cast<double>(phaseAt(at)));
        return std::abs(sum) / std::max(1.0, static_cast<double>(state.best.size()));
    };
    for (std::size_t b = 1; b < state.Count(); ++b)
        for (std::size_t a = 0; a < b; ++a) {
            const double periods = state.axis.sines[a].period / state.axis.sines[b].period;
            if (std::max(periods, 1 / periods) < kOtherPeriod) continue;
            const cv::Mat1f &one = state.fringes[a].phase, &other = state.fringes[b].phase;
            if (meanOf([&](cv::Point at) { return one(at); }) < kMostAlike &&
                meanOf([&](cv::Point at) { return one(at) - other(at); }) > kSame)
                return NameOf(a) + " and " + NameOf(b) +
                       " show the same fringes, although their periods differ: was one of them taken twice, or did the "
                       "projector not go on to the next set?";
        }
    return {};
}

}  // namespace measure
