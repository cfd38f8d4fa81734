#pragma once

#include "measure/absolute.h"
#include "measure/simulate.h"

// Whole coded scans of a simulated scene, and how right their decoding is.
namespace measure::simulate {

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
