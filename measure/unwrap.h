#pragma once

#include <opencv2/core.hpp>
#include <vector>

#include "measure/export.h"
#include "measure/progress.h"

namespace measure {

// Unwrapping in the image alone. Everywhere: phase is a wrapped phase in radians; pixels where usable is 0 or the phase
// is not finite are excluded. Images that belong together have one size, and pixels: else InputError, as for a negative
// least number of pixels. Between components that do not touch, whole periods remain unknown.

struct Unwrapped {
    cv::Mat1f phase;          // radians, NaN where invalid; the least one of every component lies in [0, 2 pi)
    cv::Mat1i components;     // 4-connected; 1 is the largest one, 0 where invalid
    std::vector<int> pixels;  // of component i + 1
};

// Whether a picture can be a wrapped phase at all: neighbours that lie more than half a period apart as they stand must
// exist and, mostly, lie close together modulo a period, and the values must be more than a few levels. False for
// fringe pictures, photographs, black-and-white pictures and unwrapped phases, and for a phase of less than a period,
// which needs no unwrapping.
MEASURE_API bool LooksWrapped(const cv::Mat1f& phase, const cv::Mat1b& usable);

// How much the phase bends in a pixel: the root of the sum of the squared second differences, modulo a period, over the
// horizontal, the vertical and the two diagonals through it, in radians and at most 10. Directions that leave the image
// or the usable pixels are replaced by the mean of the others; a pixel without any, and an excluded one, has 10.
MEASURE_API cv::Mat1f PhaseBend(const cv::Mat1f& phase, const cv::Mat1b& usable);

// A quality that the phase itself tells: 255 where it runs straight through a pixel, 0 where its largest second
// difference over the four directions (as above) reaches pi, or where there is none.
MEASURE_API cv::Mat1b QualityFromPhase(const cv::Mat1f& phase, const cv::Mat1b& usable);

// What it costs to unwrap across a pixel: the bend, plus three times the logarithm of the change of the fringe contrast
// (see FringeContrast), (largest + 0.01) / (least + 0.01), within 3 x 3 pixels. Where the contrast changes another
// object often begins, even if the phase runs on by accident. An empty contrast tells nothing.
// The modulation B, in any unit, tells how much of the bend is noise: m / B is expected, with m the median of bend
// times B over the usable pixels and B the mean of 3 x 3 pixels. Where more than 0.2 radians are expected, the bend is
// reduced in proportion to that: else a dark surface in noise would rather be joined to bright objects, whose edges the
// phase somewhere crosses smoothly by accident, than to itself.
MEASURE_API cv::Mat1f UnwrapCost(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Mat1f& contrast = {},
                                 const cv::Mat1f& modulation = {});

// Joins neighbouring pixels in the order of the sums of their costs, the least first, each time shifting the smaller
// group by whole periods so that the phase has no step there (after Herraez, Burton, Lalor and Gdeisat, "Fast
// two-dimensional phase-unwrapping algorithm based on sorting by reliability following a noncontinuous path", Appl.
// Opt. 41, 7437 (2002), with another cost). Sums of 0.25 and less count as equal. If jumps remain, the phase is cut at
// them, at pixels of several times the median cost and at bridges narrower than five pixels, and the pieces are joined
// again, those first whose whole border asks for the same shift at little cost: a few accidental pixels then no longer
// decide. Components of fewer than minPixels pixels become invalid. Costs that are negative or not finite count as 0
// and as the largest cost.
MEASURE_API Unwrapped UnwrapByCost(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Mat1f& cost,
                                   int minPixels = 100, const Progress& progress = {});

struct RegionOptions {
    int minQuality = 0;   // pixels of lower quality stay invalid, 0 to 254
    int minPixels = 100;  // components of fewer pixels become invalid
    int orderMode = 4;  // how far growth may climb to better pixels than it came from: 1 without limit to 8 not at all
};

// Grows areas along pixels of high quality, then joins them where their borders agree best. Finds the orders on phases
// of 256 steps per period; phases of 1e6 radians and more are excluded, too. Throws InputError for sides above 32767
// pixels, for options out of their range, and where a component spans more than 255 periods.
MEASURE_API Unwrapped UnwrapByRegions(const cv::Mat1f& phase, const cv::Mat1b& usable, const cv::Mat1b& quality,
                                      const RegionOptions& options = {}, const Progress& progress = {});

// Neighbouring valid pixels (4 neighbours) whose unwrapped phases differ by more than half a period: orders that cannot
// both be right, unless the surface itself has such a step there.
struct Jumps {
    int count = 0;    // pairs of neighbours
    cv::Mat1b where;  // 255 at both pixels of each pair, else 0
};
MEASURE_API Jumps FindJumps(const cv::Mat1f& unwrapped);

// The areas that jumps cut off from the largest area of their component, in pixels beside the jumps, the largest first;
// areas of fewer than minPixels are left out. Each may be wrong by whole periods, as one that no other touches. Throws
// InputError when the images differ in size.
MEASURE_API std::vector<int> FindCutOffAreas(const Unwrapped& unwrapped, const Jumps& jumps, int minPixels = 100);

}  // namespace measure
