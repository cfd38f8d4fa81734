#include "measure/fringe/correctripple.h"
#include "measure/base/arguments.h"
#include "measure/fringe.h"
#include "measure/fringe/gain.h"
#include "measure/fringe/harmonicrows.h"
#include "measure/fringe/harmonics.h"
#include "measure/fringe/rowbands.h"
#include "measure/fringe/usabletiles.h"

namespace measure {
namespace {

rows::Harmonics ToHarmonics(const Ripple& ripple) {
    rows::Harmonics harmonics;
    for (const int harmonic : ripple.harmonics) {
        const auto i = static_cast<std::size_t>(harmonics.count++);
        if (i >= rows::Harmonics::kLargest || harmonic != ripple.harmonics.front() * harmonics.count)
            throw InputError("the harmonics of a ripple are the first multiples of the least, at most eight");
        harmonics.sines[i] = static_cast<float>(ripple.sines[i]);
        harmonics.cosines[i] = static_cast<float>(ripple.cosines[i]);
    }
    return harmonics;
}

void Require(const FringePhase& phase, const Ripple& ripple) {
    RequireOneSize({"the phase", phase.phase}, {{"the modulation", phase.modulation},
                                                {"the saturated pixels", phase.saturated},
                                                {"the usable pixels", phase.usable}});
    for (const auto* list : {&ripple.sines, &ripple.cosines}) {
        RequireOneLength("the amplitudes of a ripple", list->size(), "its harmonics", ripple.harmonics.size());
        for (const double amplitude : *list) RequireFinite("an amplitude of the ripple", amplitude);
    }
}

}  // namespace

void CorrectRipple(FringePhase& phase, const Ripple& ripple, const Progress& progress) {
    RequireOneSize({"the phase", phase.phase}, {{"the mean", phase.mean}});
    CorrectRipple(phase, Means(phase.mean), ripple, progress);
}

void CorrectRipple(FringePhase& phase, const Means& means, const Ripple& ripple, const Progress& progress) {
    Require(phase, ripple);
    if (!ripple.IsWorthCorrecting()) return;
    if (ripple.harmonics != HarmonicsOf(phase.shifts))
        throw InputError("the ripple was estimated on fringes with other phase shifts");
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
