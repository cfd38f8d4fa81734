#pragma once

#include <string>
#include <vector>

#include "measure/export.h"
#include "measure/fringe.h"

namespace measure {

enum class FringeVerdict {
    eGood,
    eDoubtful,     // can be worked with; the findings say what is wrong
    eLowContrast,  // hardly anything can be measured, although there is light
    eTooDark       // hardly anything can be measured, for want of light
};

// What matters about a set of frames. Shares are of all pixels unless said otherwise; grey levels are those of the
// frames.
struct FringeQuality {
    FringeVerdict verdict = FringeVerdict::eGood;
    std::vector<std::string> findings;  // what is wrong, in words, with what helps; empty when nothing is

    double usable = 0;
    double saturated = 0;
    double mean = 0;        // the median of A over the usable pixels, share of full scale
    double modulation = 0;  // the median of B over the usable pixels, share of full scale
    double noise = 0;       // the camera's, standard deviation in grey levels
    double phaseNoise = 0;  // what that noise leaves in the phase at the median modulation, radians
    double residual = 0;    // the median of residual / B over the usable pixels; 0 for three frames
    // The frames whose exchange would make the fit better by more than a tenth, from 0; both -1 without such a pair.
    int exchangedA = -1, exchangedB = -1;
};

// Judges frames from which `phase` was solved; the ripple is that of the phase before it was corrected.
MEASURE_API FringeQuality AssessFringes(const FringeSet& set, const FringePhase& phase, const Ripple& ripple);

}  // namespace measure
