#include <algorithm>

#include "measure/base/arguments.h"
#include "measure/fringe.h"
#include "measure/fringe/neighboursums.h"
#include "measure/fringe/phaserows.h"
#include "measure/fringe/rowbands.h"

namespace measure {

cv::Mat1f FringeContrast(const FringePhase& phase) {
    RequireOneSize({"the mean", phase.mean}, {{"the modulation", phase.modulation}});
    cv::Mat1f contrast(phase.mean.size());
    ForRowBands(contrast.size(), {}, "", [&](const cv::Range& range) {
        NeighbourSums means(contrast.size()), modulations(contrast.size());
        const auto load = [&](int y) {
            means.Load(y, phase.mean[y]);
            modulations.Load(y, phase.modulation[y]);
        };
        load(std::max(range.start - 1, 0));
        load(range.start);
        for (int y = range.start; y < range.end; ++y) {
            if (y + 1 < contrast.rows) load(y + 1);
            rows::Contrast(means.Around(y), modulations.Around(y), contrast[y],
                           static_cast<std::size_t>(contrast.cols));
        }
    });
    return contrast;
}

}  // namespace measure
