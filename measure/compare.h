#pragma once

#include <opencv2/core.hpp>

#include "measure/export.h"
#include "measure/heightmap.h"
#include "measure/progress.h"
#include "measure/results.h"

// A measured surface against another one.
namespace measure {

enum class Alignment {
    eNone,   // as they are
    ePlane,  // offset and tilt are taken out: the plane that fits best to the differences
    eRigid   // the measured surface is shifted and turned in space until it fits best
};

struct CompareOptions {
    Alignment alignment = Alignment::ePlane;
    bool robust = true;  // outliers do not take part in the alignment
    cv::Mat1b mask;      // measured pixels that are compared, 128 and above; empty: all
};

struct Comparison {
    // Measured minus reference along the height, at the measured pixels; NaN where one of them has no height.
    HeightMap deviation;
    double mean = 0, rms = 0, least = 0, most = 0;
    static constexpr double kShares[] = {0.001, 0.01, 0.05, 0.25, 0.5, 0.75, 0.95, 0.99, 0.999};
    double percentiles[9] = {};  // of the deviation, at these shares
    int pixels = 0;
    // Where the measured surface went: rotation · (x, y, z) + translation, millimetres in the frame of the maps.
    cv::Matx33d rotation = cv::Matx33d::eye();
    cv::Vec3d translation = {0, 0, 0};
    int rounds = 0;         // of the rigid fit
    bool converged = true;  // false: the surfaces are too far apart, or too unlike
};

// Both maps need heights of the same unit on the same grid: the same pitch, or, without one, the same size. With a
// pitch they may cover different areas; what they have in common counts. The rigid fit moves points to the tangent
// planes of the reference (point-to-plane ICP, Chen and Medioni 1992), of which height maps give the nearest one at
// once; it needs a pitch and finds shifts of up to about the width of what the surface shows. Throws InputError for
// maps that do not fit together, NothingUsable when fewer than 100 pixels are common.
MEASURE_API Comparison CompareHeights(const HeightMap& measured, const HeightMap& reference,
                                      const CompareOptions& options = {}, const Progress& progress = {});
// What a summary says of the comparison.
MEASURE_API Quantities QuantitiesOf(const Comparison& comparison);

}  // namespace measure
