#include "measure/absolute/noise.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <opencv2/imgproc.hpp>

#include "measure/base/phase.h"
#include "measure/base/quantile.h"
#include "measure/fringe/phaserows.h"

namespace measure {
namespace {

// About `count` usable pixels, evenly spread.
template <class Visit>
void VisitSample(const DecodeState& state, int count, const Visit& visit) {
    const cv::Size size = state.usable.size();
    const double share = static_cast<double>(state.result.usable) / static_cast<double>(state.usable.total());
    const int stride =
        std::max(1, static_cast<int>(std::sqrt(share * static_cast<double>(state.usable.total()) / count)));
    for (int y = stride / 2; y < size.height; y += stride)
        for (int x = stride / 2; x < size.width; x += stride)
            if (state.usable(y, x)) visit(cv::Point(x, y));
}

}  // namespace

double EstimateNoise(const DecodeState& state) {
    const FringePhase& fine = state.Finest();
    std::vector<float> across, down;
    VisitSample(state, 20000, [&](cv::Point at) {
        const auto add = [&](std::vector<float>& values, cv::Point step) {
            const cv::Point a = at - step, b = at + step;
            const cv::Rect inside(cv::Point(), fine.phase.size());
            if (!inside.contains(a) || !inside.contains(b) || !state.usable(a) || !state.usable(b)) return;
            const float here = fine.phase(at);
            const float second = WrapRadians(fine.phase(a) - here) + WrapRadians(fine.phase(b) - here);
            values.push_back(std::abs(WrapRadians(second)) * fine.modulation(at));
        };
        add(across, {1, 0});
        add(down, {0, 1});
    });
    // Fringes bend more one way than the other; noise has no direction. A second difference has six times the variance
    // of the phase, the median of its size is 0.6745 of the deviation.
    const float median = std::min(MedianOf(across), MedianOf(down));
    const auto frames = static_cast<double>(fine.shifts.size());
    const double noise = static_cast<double>(median) / 0.6745 / std::sqrt(6.0) / std::sqrt(2.0 / frames);
    return std::max(noise, 1e-4 * fine.limits.fullScale);
}

void FindBest(DecodeState& state) {
    constexpr int kPixels = 15000;  // of all; most of them are taken
    const cv::Mat1f& modulation = state.Finest().modulation;
    std::vector<float> values;
    std::vector<cv::Point> all;
    VisitSample(state, kPixels, [&](cv::Point at) {
        values.push_back(modulation(at));
        all.push_back(at);
    });
    // Less than the quartile itself: with the ripple of fringes that are no sines, only some phases reach that.
    state.leastModulation = 0.6f * QuantileOf(values, 0.75);
    std::copy_if(all.begin(), all.end(), std::back_inserter(state.best),
                 [&](cv::Point at) { return modulation(at) >= state.leastModulation; });
}

float SamplePhase(const DecodeState& state, std::size_t set, cv::Point at, double& variance, int reach) {
    constexpr double kFewPeriods = 8;
    const FringePhase& fringes = state.fringes[set];
    variance = state.Variance(set, static_cast<double>(fringes.modulation(at)));
    const double systematic = state.SystematicVariance(set);
    if (state.axis.length / state.axis.sines[set].period < kFewPeriods) reach = 2;
    if (reach == 0) {
        variance += systematic;
        return fringes.phase(at);
    }
    const float own = fringes.phase(at);
    float sum = 0, weights = 0;
    int count = 0;
    const int left = std::max(at.x - reach, 0), right = std::min(at.x + reach, fringes.phase.cols - 1);
    for (int y = std::max(at.y - reach, 0); y <= std::min(at.y + reach, fringes.phase.rows - 1); ++y) {
        const float *phase = fringes.phase[y], *modulation = fringes.modulation[y];
        const std::uint8_t* const usable = state.usable[y];
        for (int x = left; x <= right; ++x) {
            if (!usable[x]) continue;
            sum += modulation[x] * WrapRadians(phase[x] - own);
            weights += modulation[x];
            ++count;
        }
    }
    variance = variance / std::max(count, 1) + systematic;
    return count > 0 ? own + sum / weights : own;
}

PhaseSet Smooth(const PhaseSet& set, const cv::Mat1b& usable, const cv::Rect& tile) {
    constexpr int kReach = 2, kWindow = 2 * kReach + 1;
    const cv::Rect image(cv::Point(), usable.size());
    const cv::Rect around =
        cv::Rect(tile.x - kReach, tile.y - kReach, tile.width + 2 * kReach, tile.height + 2 * kReach) & image;
    cv::Mat1b unusable;
    cv::bitwise_not(usable(around), unusable);
    cv::Mat1f phase, c, s;
    cv::subtract(set.phase(around), set.origin, phase);
    cv::polarToCart(set.modulation(around), phase, c, s);
    for (cv::Mat1f* part : {&c, &s}) {
        part->setTo(0, unusable);
        cv::boxFilter(*part, *part, -1, cv::Size(kWindow, kWindow), cv::Point(-1, -1), true, cv::BORDER_CONSTANT);
    }
    PhaseSet smooth{cv::Mat1f(tile.size()), cv::Mat1f(tile.size()), set.period, set.frames, 0};
    const cv::Point inside = tile.tl() - around.tl();
    for (int y = 0; y < tile.height; ++y)
        rows::PhaseOf(c[inside.y + y] + inside.x, s[inside.y + y] + inside.x, smooth.phase[y], smooth.modulation[y],
                      static_cast<std::size_t>(tile.width));
    smooth.modulation *= kWindow;
    return smooth;
}

}  // namespace measure
