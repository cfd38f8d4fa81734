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

struct Judgement {
    double right = 0;  // share of the judged valid pixels whose coordinate is less than half a period off
    double valid = 0;  // share of the pixels that could be measured which are valid
    double stray = 0;  // valid pixels that no light of the projector reaches, as a share of all valid pixels
    double rms = 0;    // of the coordinate over the right pixels, projector pixels
    int judged = 0;    // valid pixels that see one lit surface
};

// Could be measured: lit in all frames, one surface, no frame saturated, true modulation of all sets at least five
// times the noise. Where orders are known modulo a number only, coordinates are compared modulo so many periods.
MEASURE_API Judgement Judge(const AbsolutePhase& result, const Simulation& simulation, Axis axis,
                            const CodedAxis& coding, const Capture& capture, const AxisPictures& pictures);

}  // namespace measure::simulate
