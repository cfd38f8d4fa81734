#pragma once

#include <opencv2/core.hpp>
#include <string>

#include "measure/cloud.h"
#include "measure/export.h"
#include "measure/progress.h"

// Heights over a plane, and the files that keep them.
namespace measure {

// Heights on a square grid, as one sees them in a picture: x to the right, y upwards (against the rows), heights
// towards the viewer. Without a pitch they stand on the grid of a camera, and lengths along the surface are pixels.
struct HeightMap {
    cv::Mat1f z;              // NaN where there is no height
    double pitch = 0;         // millimetres from pixel to pixel; 0: unknown
    cv::Point2d origin;       // millimetres: x and y of the centre of the upper left pixel
    std::string unit = "mm";  // of the heights

    bool HasPitch() const { return pitch > 0; }
    // Of lengths along the surface, and how long a pixel is.
    std::string LengthUnit() const { return HasPitch() ? "mm" : "px"; }
    double PixelLength() const { return HasPitch() ? pitch : 1.0; }
    // Whether heights and lengths have one unit, so that slopes and areas have a meaning.
    bool IsMetric() const { return HasPitch() && unit == "mm"; }
};

struct GridOptions {
    double pitch = 0;  // millimetres; 0: the usual distance of neighbouring points, as the nearest of 1, 2, 5, 10 …
    // A triangle whose depths differ by more, millimetres, spans two surfaces and is left out; 0: DepthStep of the
    // cloud.
    double largestStep = 0;
};

// The heights of a cloud on a square grid of millimetres, linear in the triangles between neighbouring points; holes
// stay NaN. Heights are -z: they rise towards the camera. Where surfaces lie behind one another, the one nearest to the
// camera counts. Grid points lie at multiples of the pitch, so that clouds of one camera get grids that fit together.
// Throws InputError for a negative pitch, one that makes too large a grid and one that is larger than the surface;
// NothingUsable when no three neighbouring points are valid.
MEASURE_API HeightMap ResampleToGrid(const Cloud& cloud, const GridOptions& options, const Progress& progress = {});

// Throws NothingUsable when no pixel has a height, InputError when there are no pixels, or pitch or unit make no sense.
MEASURE_API void RequireHeights(const HeightMap& map);

// Reads heights from a picture or array (.tiff, .npy, .png, …), together with what the JSON file beside it (map.npy and
// map.npy.json) says: pitch, origin, unit; offset and scale of whole numbers. Or from a .gsf file. Without a JSON file
// the heights are millimetres on the grid of a camera; whole numbers then have no known scale and are refused. Of a
// folder of points (x.npy, y.npy and z.npy) it is -z, on the grid of the camera. Infinite values become NaN.
// Throws InputError, naming the file, for what is no height map.
MEASURE_API HeightMap ReadHeightMap(const std::string& path);

// The heights of points in their places on the grid of the camera: -z, millimetres.
MEASURE_API HeightMap HeightsOf(const Cloud& cloud);

// Reads x.npy, y.npy and z.npy of a folder of points; points that are not finite in all three become NaN.
MEASURE_API Cloud ReadCloud(const std::string& folder);

}  // namespace measure
