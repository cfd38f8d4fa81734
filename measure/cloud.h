#pragma once

#include <cstdint>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "measure/calibration.h"
#include "measure/export.h"
#include "measure/progress.h"

// Points in space, one for each pixel of the camera.
namespace measure {

// Millimetres in the frame of the camera (x right, y down, z away from it); images of the camera's size, NaN where
// nothing was measured, in all of them alike: a point of which one coordinate is not finite is none. Without pixels, or
// with images of different sizes, it is an InputError wherever it is taken.
struct Cloud {
    cv::Mat1f x, y, z;
    // Where the projector was decoded in both directions: how far the second coordinate is from where the first one and
    // the calibration expect it, projector pixels. Empty without a second direction.
    cv::Mat1f rowResidual;
};

// Which place of the projector each camera pixel sees, as DecodeAxis tells it for one direction or both: projector
// pixels, centres at whole numbers, NaN where invalid. One of the two may be empty.
struct ProjectorCoordinates {
    cv::Mat1f columns, rows;
};

// origin + direction · period · phase / 2π: coordinates from an absolute phase (radians). `period` and `origin` are
// projector pixels; direction is 1, or -1 where the phase falls with the coordinate. Throws InputError for other
// directions, for periods that are not above 0, and for a phase without pixels.
MEASURE_API cv::Mat1f CoordinatesOf(const cv::Mat1f& phase, double period, double origin = 0, int direction = 1);

struct CloudOptions {
    double maxResidual = 0;  // above 0: points whose residual is greater, or not known, are dropped; projector pixels
};

struct CloudResult {
    Cloud cloud;
    bool isFromRows = false;    // depths were found from the rows, which the baseline runs along; else from the columns
    int seen = 0;               // pixels with the coordinate that depths were found from
    int points = 0;             // valid ones
    int outside = 0;            // pixels dropped because their coordinate lies outside the projector's picture
    int dropped = 0;            // pixels dropped by maxResidual
    double medianResidual = 0;  // projector pixels, of the absolute residuals; 0 without a second direction
    double evenResidual =
        0;  // the same of the medians of the residuals in parts of the picture, which noise hardly moves
    std::vector<std::string> warnings;  // one line each
};

// The points that the coordinates and the calibration tell of, by KrN::KrLPixelToWorld. Where both directions were
// decoded, depths come from the one that the baseline runs along, the other one gives the residual. Throws InputError
// when sizes do not fit, for a negative residual limit, for implausible calibrations, for fringes along the baseline,
// and when most points are impossible: behind the camera, outside the projector's picture, or with a second coordinate
// that does not fit. The text then names the convention that is likely to be another one, as do the warnings when it is
// some of the points. Throws NothingUsable when no pixel has a coordinate.
MEASURE_API CloudResult MakeCloud(const ProjectorCoordinates& seen, const Calibration& calibration,
                                  const CloudOptions& options = {}, const Progress& progress = {});

// The standard deviation of z, millimetres, that one of the coordinate causes; `noise` is that of the coordinate which
// MakeCloud finds depths from, projector pixels.
MEASURE_API cv::Mat1f PredictDepthNoise(const ProjectorCoordinates& seen, const cv::Mat1f& noise,
                                        const Calibration& calibration, const Progress& progress = {});

// The figures of a result as a JSON object.
MEASURE_API std::string SummaryOf(const CloudResult& result);

struct PlyOptions {
    cv::Mat1b grey;           // of the points; empty: none
    bool faces = true;        // triangles between neighbouring pixels
    double maxDepthStep = 0;  // triangles whose depths differ by more are left out, millimetres; 0: see DepthStep
};

// What separates a surface from an edge between two of them: four times the usual distance of neighbouring points
// across the line of sight, so that surfaces keep their triangles up to a slope of 75 degrees. Infinite without
// neighbours.
MEASURE_API double DepthStep(const Cloud& cloud);

// The bytes of a binary PLY file: the valid points in reading order (float x y z, and the grey value as red green
// blue), and triangles whose front is what the camera sees. Throws InputError for grey values of another size and a
// negative step.
MEASURE_API std::vector<std::uint8_t> EncodePly(const Cloud& cloud, const PlyOptions& options = {},
                                                const Progress& progress = {});
// A line "x y z" for each valid point, millimetres with four decimals.
MEASURE_API std::vector<std::uint8_t> EncodeXyz(const Cloud& cloud, const Progress& progress = {});
// A file of either, as the ending of its name tells: .ply or .xyz. Throws InputError for others, and OutputError. The
// images themselves are written by WritePicture: NPY and float TIFF.
MEASURE_API void WriteCloud(const std::string& file, const Cloud& cloud, const PlyOptions& options = {},
                            const Progress& progress = {});

}  // namespace measure
