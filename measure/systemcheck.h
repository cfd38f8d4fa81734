#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "measure/cloud.h"
#include "measure/export.h"
#include "measure/heightmap.h"
#include "measure/progress.h"
#include "measure/results.h"

// Acceptance figures of an optical 3D system with area sensors, in the terms of VDI/VDE 2634-2: artefacts of known form
// are measured, and what the points say about them is compared with the calibration. All lengths are millimetres.
namespace measure {

// The guideline lets this share of the points, the worst ones, be left out.
inline constexpr double kDiscardedShare = 0.003;

struct SphereFit {
    cv::Vec3d centre;
    double radius = 0;
    double probingError = 0;  // range of the radial deviations of the points that count
    double rms = 0;           // of these
    int points = 0, discarded = 0;
};
struct PlaneFit {
    cv::Vec3d normal;     // of length 1, towards the camera
    double distance = 0;  // normal · X = distance
    double flatness = 0;  // range of the signed distances of the points that count
    double rms = 0;
    int points = 0, discarded = 0;
};

// Least squares of the distances, to the points whose pixels `area` admits (128 and above), then again without the
// worst `discarded` share of them. Throws InputError for an area of another size and shares out of 0 to 0.5,
// NothingUsable when there are too few points, or none that determine a sphere or a plane.
MEASURE_API SphereFit CheckSphere(const Cloud& cloud, const cv::Mat1b& area, double discarded = kDiscardedShare,
                                  const Progress& progress = {});
MEASURE_API PlaneFit CheckPlane(const Cloud& cloud, const cv::Mat1b& area, double discarded = kDiscardedShare,
                                const Progress& progress = {});

// What of an artefact is calibrated, 0: nothing, below 0: an InputError. The errors are measured minus calibrated.
MEASURE_API Quantities QuantitiesOf(const SphereFit& sphere, double diameter = 0);
MEASURE_API Quantities QuantitiesOf(const PlaneFit& plane);
// Of the centres of two spheres: sphere_distance, and sphere_distance_error against the calibrated one.
MEASURE_API Quantities SphereDistance(const SphereFit& a, const SphereFit& b, double distance = 0);

// The points of a height map, in the frame of a camera (x right, y down, z away). Throws InputError for heights that
// are not in millimetres and for a map without a pitch, NothingUsable for one without heights.
MEASURE_API Cloud PointsOf(const HeightMap& map);

}  // namespace measure
