#pragma once

#include <cmath>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/absolute.h"
#include "measure/base/spareimages.h"
#include "measure/fringe/means.h"
#include "measure/fringe/misfit.h"

namespace measure {

// How the frames of a set fit to each other.
struct FrameCheck {
    Misfit misfit;
    FramePair alike;        // that show the same
    bool isInOrder = true;  // no other order fits better

    // Something is said about them.
    bool IsInDoubt() const { return misfit.share > Misfit::kMuch || alike.a >= 0 || !isInOrder; }
    // What looks like a ripple is none then.
    bool IsSpoilt() const {
        constexpr double kMostMisfit = 0.12;
        return misfit.share > kMostMisfit || alike.a >= 0;
    }
};

// What the stages of decoding one direction share. Sets are numbered as in the description.
struct DecodeState {
    const CodedAxis& axis;
    const AxisPictures& pictures;
    const DecodeOptions& options;

    DecodeState(const CodedAxis& coding, const AxisPictures& frames, const DecodeOptions& how)
        : axis(coding), pictures(frames), options(how) {}

    std::vector<std::size_t> order;  // of the sets by rising period, the finest one first
    std::vector<double> periods;     // in that order, projector pixels
    int repeat = 0;  // orders of the finest set after which all sets repeat; may be beyond the length; 0: never

    std::vector<FringePhase> fringes;  // phases after the correction of ripple, rising with the projector pixel;
                                       // without the images of the mean
    std::vector<Means> means;          // of each set
    cv::Mat1b usable;                  // 255 where all sets are
    std::vector<cv::Point> best;       // some thousand pixels of much modulation
    float leastModulation = 0;         // of these
    std::vector<FrameCheck> frames;    // of each set
    std::vector<double> origins;       // radians, per set: its phase at the position 0
    GrayDecoding code;                 // empty without one
    bool commonOrigins = true;         // the sets were not given origins of their own by the edges of a code
    AbsolutePhase result;
    SpareImages spares;
    bool isShifted = false;  // see CheckShifts
    double torn = 0;         // see ShareOfTornParts
    double misfits = 0;      // see ShareOfMisfits
    int beyond = 0;          // valid pixels whose coordinate lies beyond the projector by more than noise

    std::size_t Count() const { return fringes.size(); }
    const FringePhase& Finest() const { return fringes[static_cast<std::size_t>(result.finest)]; }
    const Means& FinestMeans() const { return means[static_cast<std::size_t>(result.finest)]; }
    float SaturatedLevel() const {
        const FringeLimits& limits = Finest().limits;
        return static_cast<float>(limits.saturation * limits.fullScale);
    }
    // Orders of the finest set that the sets tell apart.
    double DistinctOrders() const { return repeat > 0 ? repeat : axis.length / periods[0]; }
    // The variance of the phase of a pixel of that modulation, radians squared.
    double Variance(std::size_t set, double modulation) const {
        const auto frames = static_cast<double>(fringes[set].shifts.size());
        return 2 * result.noise * result.noise / (frames * (modulation * modulation + 1e-6));
    }
    // What fringes that are no sines leave in the phase, radians squared: much where the ripple is not known.
    double SystematicVariance(std::size_t set) const {
        constexpr double kCorrected = 0.04, kOfThreeSteps = 0.2, kOfFourSteps = 0.06;  // root mean squares
        const std::size_t frames = fringes[set].shifts.size();
        const bool isCorrected = result.ripples[set].known && options.correctRipple;
        const double rms = isCorrected || frames > 4 ? kCorrected : frames == 3 ? kOfThreeSteps : kOfFourSteps;
        return rms * rms;
    }
    // Less modulation than noise needs to turn a bit of the code now and then; 0 without one.
    double ReadableModulation() const {
        constexpr double kDeviations = 4;
        if (!axis.gray) return 0;
        return kDeviations * result.noise / (axis.gray->inverse.empty() ? 1 : std::sqrt(2.0));
    }
};

inline std::string NameOf(std::size_t set) { return "sines[" + std::to_string(set) + "]"; }
inline std::string FrameName(std::size_t set, int frame) {
    return NameOf(set) + ".frames[" + std::to_string(frame) + "]";
}

}  // namespace measure
