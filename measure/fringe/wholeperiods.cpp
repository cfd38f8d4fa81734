#include "measure/fringe/wholeperiods.h"

#include <algorithm>
#include <cmath>

#include "measure/base/phase.h"

namespace measure {

void FindWholePeriods(const float* phase, const std::uint8_t* usable, int size, std::vector<WholePeriod>& found) {
    constexpr int kMostMissing = 2;              // pixels in a row
    constexpr float kMostMissingShare = 0.125f;  // of a period
    constexpr float kLargestStep = 2.7f;         // radians
    constexpr float kPeriod = 2 * kPi;
    found.clear();
    std::size_t run = 0;           // the first period of the present run
    int first = 0, last = -size;   // pixels of the present period, usable ones
    float start = 0, advance = 0;  // where that begins, between pixels, and how far the phase has come
    int missing = 0;
    float lastShare = 1;
    // A run begins on a pixel and ends between two: its pixels shall weigh as much as it is long.
    const auto endRun = [&] {
        if (run < found.size()) found[run].shareOfFirst = lastShare;
        run = found.size();
    };
    for (int x = 0; x < size; ++x) {
        if (!usable[x]) continue;
        const int way = x - last;
        const float step = WrapOnce(phase[x] - phase[last < 0 ? x : last]);
        if (way > kMostMissing + 1 || std::abs(step) > kLargestStep) {
            endRun();
            first = x;
            start = static_cast<float>(x);
            advance = 0;
            missing = 0;
            last = x;
            continue;
        }
        missing += way - 1;
        if (std::abs(advance + step) >= kPeriod) {
            const float full = std::copysign(kPeriod, advance + step);
            const float beyond = (full - advance) / step * static_cast<float>(way);
            const float end = static_cast<float>(last) + beyond;
            lastShare = std::min(beyond, 1.0f);
            if (static_cast<float>(missing) <= kMostMissingShare * (end - start))
                found.push_back({first, x, end - start, 1});
            first = x;
            start = end;
            advance += step - full;
            missing = 0;
        } else {
            advance += step;
        }
        last = x;
    }
    endRun();
}

}  // namespace measure
