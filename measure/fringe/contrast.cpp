#include <algorithm>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/fringe.h"
#include "measure/fringe/gain.h"
#include "measure/fringe/harmonics.h"
#include "measure/fringe/neighboursums.h"
#include "measure/fringe/phaserows.h"
#include "measure/fringe/ripplechecks.h"
#include "measure/fringe/rowbands.h"

namespace measure {

cv::Mat1f FringeContrast(const FringePhase& phase, const Ripple& ripple) {
    RequireRippleOf(ripple, phase.shifts);
    const bool swings = ripple.IsWorthCorrecting() && EqualSteps(phase.shifts) != 0;
    RequireOneSize({"the mean", phase.mean}, {{"the modulation", phase.modulation}});
    if (swings) RequireOneSize({"the mean", phase.mean}, {{"the phase", phase.phase}});
    const rows::Gain gain = swings ? GainOf(ripple) : rows::Gain();
    cv::Mat1f contrast(phase.mean.size());
    const auto width = static_cast<std::size_t>(contrast.cols);
    ForRowBands(contrast.size(), {}, "", [&](const cv::Range& range) {
        NeighbourSums means(contrast.size()), modulations(contrast.size());
        std::vector<float> even(swings ? width : 0);
        const auto load = [&](int y) {
            means.Load(y, phase.mean[y]);
            if (swings) rows::Multiply(gain, phase.phase[y], phase.modulation[y], even.data(), width);
            modulations.Load(y, swings ? even.data() : phase.modulation[y]);
        };
        load(std::max(range.start - 1, 0));
        load(range.start);
        for (int y = range.start; y < range.end; ++y) {
            if (y + 1 < contrast.rows) load(y + 1);
            rows::Contrast(means.Around(y), modulations.Around(y), contrast[y], width);
        }
    });
    return contrast;
}

}  // namespace measure
