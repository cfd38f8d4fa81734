#include "measure/simulate/profile.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace measure::simulate {
namespace {

constexpr std::size_t kPeriodSamples = 8192;  // linear in between: 7e-8 of the amplitude at most
constexpr double kSamplesPerPixel = 32;

}  // namespace

Profile::Profile(const Pattern& pattern, const Capture& capture, double least, double greatest)
    : mPeriodic(pattern.period > 0) {
    if (mPeriodic) {
        mCount = kPeriodSamples;
        mPerUnit = static_cast<double>(mCount) / pattern.period;
    } else {
        mFirst = least;
        mPerUnit = kSamplesPerPixel;
        mCount = static_cast<std::size_t>(std::ceil((greatest - least) * mPerUnit)) + 1;
    }
    mTable.resize(mCount + 1);
    for (std::size_t i = 0; i < mCount; ++i) {
        const double value = pattern.value(mFirst + static_cast<double>(i) / mPerUnit);
        mTable[i] = static_cast<float>(std::pow(std::clamp(value, 0.0, 1.0), capture.gamma));
    }
    mTable[mCount] = mPeriodic ? mTable[0] : mTable[mCount - 1];
    // A Gaussian as wide as a period leaves 3e-9 of it.
    const double most = mPeriodic ? kPeriodSamples : std::numeric_limits<double>::infinity();
    if (capture.projectorBlur > 0) Blur(std::min(capture.projectorBlur * mPerUnit, most));
}

void Profile::Blur(double sigma) {
    const auto reach = static_cast<std::int64_t>(std::ceil(5 * sigma));
    std::vector<double> weights(static_cast<std::size_t>(2 * reach + 1));
    for (std::int64_t k = -reach; k <= reach; ++k)
        weights[static_cast<std::size_t>(k + reach)] = std::exp(-0.5 * std::pow(static_cast<double>(k) / sigma, 2));
    const double sum = std::accumulate(weights.begin(), weights.end(), 0.0);

    const std::vector<float> sharp = mTable;
    for (std::size_t i = 0; i < mCount; ++i) {
        double blurred = 0;
        for (std::int64_t k = -reach; k <= reach; ++k)
            blurred += weights[static_cast<std::size_t>(k + reach)] * sharp[Index(static_cast<std::int64_t>(i) + k)];
        mTable[i] = static_cast<float>(blurred / sum);
    }
    mTable[mCount] = mPeriodic ? mTable[0] : mTable[mCount - 1];
}

Signal Profile::GetSignal() const {
    double mean = 0, re = 0, im = 0;
    for (std::size_t i = 0; i < mCount; ++i) {
        const double angle = 2 * CV_PI * static_cast<double>(i) / static_cast<double>(mCount);
        mean += mTable[i];
        re += mTable[i] * std::cos(angle);
        im += mTable[i] * std::sin(angle);
    }
    const auto count = static_cast<double>(mCount);
    return {mean / count, mPeriodic ? 2 * std::hypot(re, im) / count : 0};
}

}  // namespace measure::simulate
