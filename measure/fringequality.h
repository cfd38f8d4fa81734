#pragma once

#include <string>
#include <utility>
#include <vector>

#include "measure/absolute.h"
#include "measure/export.h"
#include "measure/fringe.h"

namespace measure {

enum class FringeVerdict {
    eGood,
    eDoubtful,     // can be worked with; the findings say what is wrong
    eNotTogether,  // the frames are not those of one set, or not in the order of their shifts
    eLowContrast,  // hardly anything can be measured, although there is light
    eTooDark       // hardly anything can be measured, for want of light
};

// What matters about a set of frames. Shares are of all pixels unless said otherwise; grey levels are those of the
// frames.
struct FringeQuality {
    FringeVerdict verdict = FringeVerdict::eGood;
    std::vector<std::string> findings;  // what is wrong, corrected or good to know, in words; also with eGood

    static constexpr double kLeastUsable = 0.01;  // below, hardly anything is usable
    double usable = 0;
    double saturated = 0;
    double clipLevel = 0;   // the grey level at which the camera seems to saturate below full scale; 0 for none
    double mean = 0;        // the median of A over the usable pixels, share of full scale
    double modulation = 0;  // the median of B over the usable pixels, share of full scale
    double noise = 0;       // the camera's, standard deviation in grey levels
    double phaseNoise = 0;  // what that noise leaves in the phase at the median modulation, radians
    double residual = 0;    // the median of residual / B over the usable pixels; 0 for three frames
    // What of the residual neither noise nor the shape of the fringes explains, rms over that of B; 0 for three frames.
    double misfit = 0;
    int misfitFrame = -1;      // the frame without which most of that goes, from 0; -1 for none, and for four frames
    double misfitWithout = 0;  // what remains without it
    // The two frames whose exchange would make the fit better by more than a tenth, from 0, and others whose exchange
    // would do as well: with four and five frames, each exchange has such a twin.
    std::vector<std::pair<int, int>> exchanged;
    int sameA = -1, sameB = -1;  // frames that show the same although their shifts differ, from 0; -1 for none
};

// Judges frames from which `phase` was solved; the ripple is that of the phase before it was corrected. The names are
// those of the frames in the findings, "frame 2" where there is none. Throws InputError when frames and phase do not
// belong together.
MEASURE_API FringeQuality AssessFringes(const FringeSet& set, const FringePhase& phase, const Ripple& ripple,
                                        const std::vector<std::string>& names = {});

// What matters about one direction of a scan.
struct AxisQuality {
    FringeVerdict verdict = FringeVerdict::eGood;  // that of the worst set
    std::vector<FringeQuality> sets;               // in the order of the description
    std::vector<Ripple> ripples;                   // of each set
    double usable = 0;                             // share of the pixels that are usable in all sets
    double doubtfulBits = 0;                       // share of the usable pixels in which a Gray code can hardly be read
    std::vector<DecodeCheck> checks;               // what was compared to find pictures that do not belong together
    std::string misfit;                 // why pictures and description do not belong together; empty when they do
    std::vector<std::string> findings;  // what is wrong with the sets together
};

// Judges the pictures of one direction: every set, and whether all fit to each other and to the description. Throws
// InputError only where nothing can be judged: counts, sizes or types that do not fit, and a description that cannot
// tell the orders.
MEASURE_API AxisQuality AssessAxis(const CodedAxis& axis, const AxisPictures& pictures,
                                   const DecodeOptions& options = {}, const Progress& progress = {});

}  // namespace measure
