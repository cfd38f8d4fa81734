#pragma once

#include <filesystem>
#include <vector>

#include "measure/absolute.h"
#include "measure/scan.h"
#include "measure/simulate.h"

// Whole coded scans of a simulated scene, and how right their decoding is.
namespace measure::simulate {

// Fringes of the given periods (projector pixels), each with equal shifts.
MEASURE_API CodedAxis SineAxis(double length, const std::vector<double>& periods, int steps);
// Adds a Gray code with as many bits as the axis needs, with or without inverse pictures.
MEASURE_API void AddGrayCode(CodedAxis& axis, double cell, double offset = 0, bool inverse = true);
// Gives every picture of a description a name of its own: "columns_00.png" and so on, in the order of the description;
// white and black are named, and thereby become part of the scan, only when asked for.
MEASURE_API void NamePictures(Scan& scan, bool whiteAndBlack);
// Writes scan.json and the pictures that it names into a folder, which is created. Throws OutputError.
MEASURE_API void WriteScan(const std::filesystem::path& folder, const Simulation& simulation, const Scan& scan,
                           const Capture& capture = {});

// The pictures of everything that one direction is coded with. Of the files that the coding names only the number
// matters; without an origin the phase is 0 at pixel 0.
MEASURE_API AxisPictures RenderAxis(const Simulation& simulation, Axis axis, const CodedAxis& coding,
                                    const Capture& capture = {});

// What is known about the phase of a capture.
struct Reference {
    cv::Mat1d periods;  // whole and broken periods of the finest fringes; anything where nothing is known
    cv::Mat1b counted;  // 255 where a result is expected
    cv::Mat1b light;    // 255 where light arrives, also where it is too weak to be counted, and beside it
    cv::Mat1b object;   // 1 + the index of the object that is seen; may be empty
};

// Counted are the pixels that are lit in all pictures, saturated in none and modulated in all sets by five times the
// noise, of which rounding is a part, and by the share of full scale that makes a pixel usable; and where a
// period of the finest set covers four pixels or more.
MEASURE_API Reference ReferenceOf(const Simulation& simulation, Axis axis, const CodedAxis& coding,
                                  const Capture& capture, const AxisPictures& pictures);

// How orders may be off and yet be right.
enum class Freedom {
    eNone,       // orders are absolute
    ePerArea,    // by one constant for each 4-connected area of the truth whose neighbours differ by less than half a
                 // period
    ePerSurface  // the same, each area within one object: no picture tells whether the phase truly runs on, or is some
                 // periods off, where another object begins
};

struct Judgement {
    double right = 0;   // share of the judged pixels with the right order
    double valid = 0;   // share of the counted pixels with a result
    double stray = 0;   // results where no light arrives, as a share of the counted pixels
    double rms = 0;     // of the wrapped error over the judged pixels, radians
    int counted = 0;    // pixels
    int judged = 0;     // of these, with a result
    cv::Mat1b picture;  // 0 nothing expected, 80 right, 160 missing, 200 stray, 255 wrong
};

// Judges a result in periods, NaN where invalid; images of different sizes are an InputError. With `repeat` above 0
// orders are compared modulo that number. A pixel at an edge sees two surfaces: it is right when it has the order of
// any of its neighbours.
MEASURE_API Judgement Judge(const cv::Mat1d& periods, const Reference& reference, Freedom freedom, int repeat = 0);
MEASURE_API Judgement Judge(const AbsolutePhase& result, const Simulation& simulation, Axis axis,
                            const CodedAxis& coding, const Capture& capture, const AxisPictures& pictures);

}  // namespace measure::simulate
