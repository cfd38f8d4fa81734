#pragma once

#include <algorithm>
#include <cmath>

#include "measure/simulate.h"

namespace measure::simulate {

// The light of a pattern after the projector's gamma and blur, tabulated over one period, or over [least, greatest].
class Profile {
public:
    Profile(const Pattern& pattern, const Capture& capture, double least, double greatest);

    float At(double coordinate) const {
        const double place = (coordinate - mFirst) * mPerUnit;
        const double whole = std::floor(place);
        const auto share = static_cast<float>(place - whole);
        const std::size_t i = Index(static_cast<std::int64_t>(whole));
        return mTable[i] + share * (mTable[i + 1] - mTable[i]);
    }
    Signal GetSignal() const;

private:
    std::size_t Index(std::int64_t i) const {
        const auto last = static_cast<std::int64_t>(mCount) - 1;
        return static_cast<std::size_t>(mPeriodic ? i & last : std::min(std::max<std::int64_t>(i, 0), last));
    }
    void Blur(double sigma);

    bool mPeriodic;
    double mFirst = 0, mPerUnit = 1;
    std::size_t mCount = 0;     // a power of two when periodic
    std::vector<float> mTable;  // and one entry more, so that every entry has a next one
};

}  // namespace measure::simulate
