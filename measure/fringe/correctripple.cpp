#include "measure/fringe/correctripple.h"
#include "measure/base/arguments.h"
#include "measure/fringe.h"
#include "measure/fringe/gain.h"
#include "measure/fringe/harmonicrows.h"
#include "measure/fringe/harmonics.h"
#include "measure/fringe/ripplechecks.h"
#include "measure/fringe/rowbands.h"
#include "measure/fringe/usabletiles.h"

namespace measure {
namespace {

rows::Harmonics ToHarmonics(const Ripple& ripple) {
    rows::Harmonics harmonics;
    for (std::size_t i = 0; i < ripple.harmonics.size(); ++i) {
        harmonics.sines[i] = static_cast<float>(ripple.sines[i]);
        harmonics.cosines[i] = static_cast<float>(ripple.cosines[i]);
    }
    harmonics.count = static_cast<int>(ripple.harmonics.size());
    return harmonics;
}

void Require(const FringePhase& phase, const Ripple& ripple) {
    RequireOneSize({"the phase", phase.phase}, {{"the modulation", phase.modulation},
                                                {"the saturated pixels", phase.saturated},
                                                {"the usable pixels", phase.usable}});
    RequireRippleOf(ripple, phase.shifts);
}

}  // namespace

void CorrectRipple(FringePhase& phase, const Ripple& ripple, const Progress& progress) {
    RequireOneSize({"the phase", phase.phase}, {{"the mean", phase.mean}});
    CorrectRipple(phase, Means(phase.mean), ripple, progress);
}

void CorrectRipple(FringePhase& phase, const Means& means, const Ripple& ripple, const Progress& progress) {
    Require(phase, ripple);
    if (!ripple.IsWorthCorrecting()) return;
    const rows::Harmonics harmonics = ToHarmonics(ripple);
    const int multiple = ripple.harmonics.front();
    const auto width = static_cast<std::size_t>(phase.phase.cols);
    const bool hasGain = EqualSteps(phase.shifts) != 0;
    ForRowBands(phase.phase.size(), progress, "correcting the ripple", [&](const cv::Range& range) {
        for (int y = range.start; y < range.end; ++y) rows::AddHarmonics(harmonics, multiple, phase.phase[y], width);
    });
    if (hasGain) UsableTiles(phase, means, GainOf(ripple)).AddAnew();
}

}  // namespace measure
