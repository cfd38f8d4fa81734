#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/export.h"
#include "measure/fringe.h"
#include "measure/progress.h"
#include "measure/scan.h"
#include "measure/unwrap.h"

namespace measure {

// From the phases of several sets of fringes, or of one set and a Gray code, to a phase whose whole periods ("orders")
// are known in every pixel by itself, so also across shadows, holes and steps. DecodeAxis does all of it; its parts are
// functions of their own.

// --- Gray code

struct GrayDecoding {
    cv::Mat1w code;    // the number of the cell
    cv::Mat1f margin;  // the second-smallest distance of a bit from its threshold as a share of the modulation; the
                       // smallest is 0 by nature at the borders of cells
};

// Decodes pictures of one type (CV_8UC1, CV_16UC1 or CV_32FC1), the most significant bit first: a bit is set where the
// picture is brighter than its inverse. `modulation` is that of fringes of the same projector, in grey levels. Throws
// InputError when counts, sizes or types do not fit.
MEASURE_API GrayDecoding DecodeGray(const std::vector<cv::Mat>& frames, const std::vector<cv::Mat>& inverse,
                                    const cv::Mat1f& modulation, const Progress& progress = {});
// Without inverse pictures: a bit is set where the picture is brighter than a threshold, in grey levels.
MEASURE_API GrayDecoding DecodeGray(const std::vector<cv::Mat>& frames, const cv::Mat1f& threshold,
                                    const cv::Mat1f& modulation, const Progress& progress = {});

// --- Orders of single pixels

struct PhaseSet {
    cv::Mat1f phase;       // radians, rising with the position
    cv::Mat1f modulation;  // B, grey levels
    double period = 0;     // projector pixels
    int frames = 3;        // that the phase was found from; fewer when their noise was smoothed away counts as more
    double origin = 0;     // radians: the phase where the position is 0
};

// Which orders are possible.
struct OrderRange {
    int count = 1;     // orders 0 to count - 1, or, with a centre, the `count` whole numbers next to it
    cv::Mat1f center;  // the order that a code predicts; a real number, may be empty
};

struct OrderDecision {
    cv::Mat1s order;     // of the first set
    cv::Mat1f residual;  // 0 certain to 0.5 undecided: how far the best order is off on the way to the second best one
    cv::Mat1f lead;      // log-likelihood ratio, doubled, of the best order and the second best one
};

// The order of the first set, the finest one, that makes the phases of all sets most likely: with r_i = φ_i - q_i (φ_h
// + 2 π k), wrapped, and q_i the ratio of the periods, the one with the least sum of r_i² / σ_i², the error that all
// have in common by the finest phase φ_h taken off. `noise` is that of one frame in grey levels; σ_i follows from it
// and the modulation. A single set needs a centre, unless there is one order only. Throws InputError when sizes do not
// fit, for periods that are not above 0 or below the first one, fewer than one frame, an origin that is no number, a
// noise below 0, and counts of orders out of 1 to 32767.
MEASURE_API OrderDecision DecideOrders(const std::vector<PhaseSet>& sets, const OrderRange& range, double noise,
                                       const Progress& progress = {});

// --- Neighbours

// What is known about the order of a pixel.
enum Trust : unsigned char {
    eNoPhase,   // there is not even a phase
    eDoubtful,  // nothing is certain about its order
    eNearly,    // its order may be wrong by one, as at the border between two cells of a code
    eTrusted
};

struct GrowthOptions {
    int minArea = 30;     // pixels of an area that may carry others
    float maxStep = 2.5;  // radians between neighbours in an area
    int repeat = 0;       // above 0: orders are known modulo that number only
};

struct GrownOrders {
    cv::Mat1f absolute;    // radians, phase + 2 π order; NaN where invalid
    cv::Mat1b mask;        // 255 valid, 0 not
    int corrected = 0;     // pixels whose doubtful order was replaced by what their neighbours say
    int contradicted = 0;  // pixels that were dropped because neighbours contradict an order that looked certain
    int components = 0;    // with a repeat: areas between which orders are known modulo the repeat only; else 0
};

// Corrects the orders of single pixels by spatial continuity, never those of whole areas: areas of trusted pixels
// stay as they are and grow over the others, smooth phases first. Areas of fewer than eight pixels count as nearly
// known: neighbours may correct them by one, and where no neighbour asks for that they are invalid. The order of such a
// pixel is what most of its neighbours say, its own one has half the weight of a neighbour. After the idea of
// temporal-spatial unwrapping (Opt. Express 29, 20657 (2021)). `trust` has the values of Trust; where the phase is
// no number, or 1e6 radians and more, it counts as eNoPhase. Throws InputError when sizes do not fit, for other values,
// for a maxStep that is not above 0, and for other options that are negative.
MEASURE_API GrownOrders GrowOrders(const cv::Mat1f& phase, const cv::Mat1s& order, const cv::Mat1b& trust,
                                   const GrowthOptions& options = {}, const Progress& progress = {});

// --- Everything

// The pictures of one coded direction, as many as its description has: the camera saw what CodedAxis lists.
struct AxisPictures {
    std::vector<std::vector<cv::Mat>> sines;
    std::vector<cv::Mat> gray, inverse;
    cv::Mat white, black;
};

// Reads the files that the description lists. Throws InputError for files that are no pictures.
MEASURE_API AxisPictures ReadPictures(const CodedAxis& axis, const Progress& progress = {});

struct DecodeOptions {
    FringeLimits limits;
    bool correctRipple = true;
    GrowthOptions growth;  // the repeat follows from the periods
};

// What was compared to find a wrong description or exchanged pictures.
struct DecodeCheck {
    std::string name;    // as in "sines[0] and sines[1] fit each other"
    double value = 0;    // what was measured
    double limit = 0;    // what it must not pass
    bool passed = true;  // else there is a warning about it
};

struct AbsolutePhase {
    cv::Mat1f phase;        // radians of the finest set, 2 π per period, NaN where invalid
    cv::Mat1f coordinate;   // projector pixels, NaN where invalid
    cv::Mat1b mask;         // 255 valid, 0 not
    cv::Mat1b reliability;  // 255 certain, 0 a guess
    cv::Mat1f modulation;   // B of the finest set, grey levels

    int finest = 0;          // index of the finest set
    double period = 0;       // of the finest set, projector pixels
    double length = 0;       // of the coded direction, projector pixels
    int direction = 1;       // coordinate = direction · period · (phase - offset) / 2 π
    double offset = 0;       // radians: the phase at coordinate 0
    double offsetError = 0;  // its standard error where the borders of a code tell it, radians; 0: it was given
    int repeat = 0;          // above 0: the sets do not cover the length, orders are known modulo this many periods
    int components = 0;      // with a repeat: areas between which that is all that is known

    int usable = 0;                 // pixels with enough light in all sets
    int valid = 0;                  // pixels of the mask
    int corrected = 0;              // see GrownOrders
    int contradicted = 0;           // see GrownOrders
    Jumps jumps;                    // of the phase
    double noise = 0;               // of one frame, grey levels, as the phase shows it
    std::vector<Ripple> ripples;    // one per set
    std::vector<double> saturated;  // per set: share of the pixels that a frame of it saturates
    std::vector<double>
        residuals;  // per set: the median of fit residual / B over its usable pixels; 0 for three frames
    std::vector<DecodeCheck> checks;
    std::vector<std::string> warnings;  // one line each
    std::vector<std::string> notes;     // what is good to know and casts no doubt on the result, one line each
};

// Decodes one direction. Throws InputError when pictures and description do not fit: counts, sizes, and everything that
// shows an exchanged, reversed or wrongly described picture; the message names the likely mistake. Throws NothingUsable
// when hardly any pixel has enough light and modulation.
MEASURE_API AbsolutePhase DecodeAxis(const CodedAxis& axis, const AxisPictures& pictures,
                                     const DecodeOptions& options = {}, const Progress& progress = {});

// What to say of two directions whose coordinates run across each other's way: that of the columns down the picture,
// that of the rows across. Empty when they do not; a camera that is turned by 90 degrees sees both so, too.
MEASURE_API std::string HintOfExchangedDirections(const AbsolutePhase& columns, const AbsolutePhase& rows);

// The figures of a result as a JSON object: shares, counts, ripple, checks and warnings.
MEASURE_API std::string SummaryOf(const AbsolutePhase& result);

}  // namespace measure
