#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/export.h"
#include "measure/progress.h"

namespace measure {

// One set of shifted fringes: frame k shows I_k = A + B cos(phase + shifts[k]).
struct FringeSet {
    std::vector<cv::Mat> frames;  // three or more of one size and one type: CV_8UC1, CV_16UC1 or CV_32FC1
    std::vector<double> shifts;   // radians, one per frame
};

// N equally spaced shifts over one period, in radians: 2 pi k / N. Throws InputError for fewer than 1 and more than
// 10000.
MEASURE_API std::vector<double> EqualShifts(int count);

// What makes a pixel usable. All but fullScale are shares of full scale.
struct FringeLimits {
    double fullScale = 0;          // grey level of full scale; 0: 255 or 65535 by the type of the frames
    double minModulation = 0.016;  // least B of 3 x 3 pixels together; one pixel may have half of it
    double minMean = 0.015;        // least A
    double saturation = 0.995;     // no frame may reach this; above 1: no frame is saturated
};

// The least-squares fit of A + B cos(phase + shift) to every pixel of a set. All images have the frames' size; where a
// frame is not finite the floats are NaN.
struct FringePhase {
    cv::Mat1f phase;       // radians, -pi to pi
    cv::Mat1f mean;        // A, grey levels
    cv::Mat1f modulation;  // B, grey levels
    cv::Mat1f residual;    // root mean square of I_k - fit over the frames, grey levels; empty for three frames
    cv::Mat1b saturated;   // 255 where a frame reaches the limit of saturation, else 0
    cv::Mat1b usable;      // 255 where the phase can be worked with, else 0: see SolveFringes
    std::vector<double> shifts;
    FringeLimits limits;  // that were applied, with the grey level of full scale in any case
};

// Fits A, B and the phase by least squares and finds the usable pixels: not saturated, mean and modulation within the
// limits. The modulation counts as that of the mean phasor (B e^(i phase)) of 3 x 3 pixels, beyond the image's edge its
// outermost pixels again: noise cancels in it, and so do pixels that have phases of their own, as at the edge of an
// object. Near the limit it may be counted with the mean slope of the phase around taken off, as fine fringes cancel,
// too. Throws InputError when frames, shifts or limits are not as described above, when float frames have no full
// scale, many pixels are clearly brighter than it, or the shifts do not tell the phase (three must differ clearly).
MEASURE_API FringePhase SolveFringes(const FringeSet& set, const FringeLimits& limits = {},
                                     const Progress& progress = {});

// The periodic deviation of the phase that fringes which are no sines leave, as projectors with gamma make them:
// truth = phase + sum over i of (sines[i] sin(harmonics[i] phase) + cosines[i] cos(harmonics[i] phase)).
struct Ripple {
    struct Deviation {
        double amplitude = 0, uncertainty = 0;  // radians
    };

    bool known = false;           // false: nothing is corrected; see WhyUnknown
    bool isOnPixels = false;      // pixels see a few phases only, as of fringes of a whole number of pixels: not known
    double periodsInView = 0;     // across rows and columns together
    double amplitude = 0;         // radians, of the strongest harmonic
    double uncertainty = 0;       // its standard error, radians, by how much parts of the image differ
    std::vector<int> harmonics;   // of the phase: N and 2 N for N equal steps over a period, else 1 to 8
    std::vector<double> sines;    // radians
    std::vector<double> cosines;  // radians
    // Harmonics 1 and 2 of the phase, with which equal steps see no fringes, whatever their shape: frames of other
    // shifts than given, or of different exposure or light, leave them. Zeros with other steps and few periods in view.
    std::array<Deviation, 2> foreign;

    // Whether the correction does more good than harm.
    bool IsWorthCorrecting() const { return known && amplitude >= kLeastAmplitude && amplitude >= 3 * uncertainty; }
    // What scenes with texture and few periods may feign of a foreign harmonic, 1 or 2, in radians.
    MEASURE_API double MostForeign(int harmonic) const;
    // Whether a foreign harmonic is clearly more than that.
    MEASURE_API bool IsOfOtherFrames() const;

    static constexpr double kLeastAmplitude = 0.02;  // radians
    static constexpr double kLeastPeriodsInView = 8;
};

// Estimates the ripple from the distribution of the phase over the usable pixels of lines across the fringes, which is
// even without ripple over whole periods; parts of periods, as narrow objects show, do not count (after Pan, Kemao,
// Huang and Asundi, "Phase error analysis and compensation for nonsinusoidal waveforms in phase-shifting digital fringe
// projection profilometry", Opt. Lett. 34, 416 (2009), and Xing and Guo, "Correction of projector nonlinearity in
// multi-frequency phase-shifting fringe projection profilometry", Opt. Express 26, 16277 (2018)). With fewer than
// kLeastPeriodsInView periods in view it is not known, nor where a period is so nearly a whole number of pixels that
// these see the same few phases everywhere. Sets with the same shifts have the same ripple: what one set tells may
// correct another one. Throws InputError when phase and usable pixels differ in size, and without shifts.
MEASURE_API Ripple EstimateRipple(const FringePhase& phase, const Progress& progress = {});

// Why a ripple is not known, in words; empty when it is.
MEASURE_API std::string WhyUnknown(const Ripple& ripple);

// The ripple as one line of JSON: "known"; "radians", the amplitude, and that of every one of the "harmonics"
// ("of_phase": how many times the phase), null where it is not known; "foreign_radians"; "periods_in_view". Throws
// InputError unless every harmonic has finite amplitudes.
MEASURE_API std::string SummaryOf(const Ripple& ripple);

// Adds the correction to phase.phase, everywhere, and wraps it again. What shifts the phase also lets the modulation
// swing with it, for three steps at gamma 2.2 by nearly a third: of N equal steps, harmonic N - 1 of the fringes is by
// far the strongest that is mistaken for the first one, B e^(i truth) appears as B e^(i truth) (1 + u e^(-i N truth)),
// and u = sines[0] - i cosines[0] is known from the phase. Pixels that reach the limit of modulation when they are
// freed of that are added to phase.usable, so that surfaces near the limit have no holes at some phases;
// phase.modulation stays as it was measured. With other than equal steps the ripple does not tell the swing, the usable
// pixels stay. Does nothing when the ripple is not worth correcting. Throws InputError for a ripple worth correcting
// that comes from other shifts, for harmonics without finite amplitudes, and when images of the phase are missing or
// differ in size. When it is stopped, the phase is corrected in part and of no use any more.
MEASURE_API void CorrectRipple(FringePhase& phase, const Ripple& ripple, const Progress& progress = {});

// The fringe contrast c = min(1, B / (A + 1)), A and B as means over 3 x 3 pixels, NaN where A or B is. With the ripple
// that has been corrected in the phase, the swing of B with the phase that comes with it, and is no change of contrast,
// is taken off. Throws InputError when images differ in size, and for a ripple that CorrectRipple does not take.
MEASURE_API cv::Mat1f FringeContrast(const FringePhase& phase, const Ripple& ripple = {});

}  // namespace measure
