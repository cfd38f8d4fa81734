#pragma once

#include <opencv2/core.hpp>

#include "measure/export.h"
#include "measure/heightmap.h"
#include "measure/progress.h"
#include "measure/results.h"
#include "measure/surface.h"

// Areal surface texture.
namespace measure {

// Gaussian areal filter with the cut-off wavelength, in pixels (ISO 16610-61): at that wavelength half the amplitude
// passes. A normalised convolution over the valid pixels: holes and borders do not pull values down; NaN stays NaN. The
// weights end at 0.8 cut-off wavelengths; what lies beyond is 2e-5 of them. Long cut-offs cost no more than short ones.
// Throws InputError for a cut-off of 0 and less or beyond 32767, and without pixels.
MEASURE_API cv::Mat1f GaussianFilter(const cv::Mat1f& heights, double cutoff, const Progress& progress = {});

struct RoughnessOptions {
    FormOptions form;   // what is removed first; form.mask says which pixels are evaluated
    double cutoff = 0;  // HeightMap::LengthUnit: waves longer than this are removed (L-filter, λc); 0: none are
    double finest = 0;  // waves shorter than this are removed (S-filter, λs); 0: none are
};

// Parameters of ISO 25178-2 over all evaluated pixels, of the heights from their mean.
struct Roughness {
    double sa = 0, sq = 0;          // mean and root mean square of the heights
    double sp = 0, sv = 0, sz = 0;  // highest peak, deepest pit, both together
    double ssk = 0, sku = 0;        // skewness and kurtosis; NaN for a surface without heights
    // Root mean square slope and developed area ratio (share), by central differences; NaN unless IsMetric, and when no
    // pixel has four neighbours.
    double sdq = 0, sdr = 0;
    double validShare = 0;  // evaluated pixels of those that the mask admits
    int pixels = 0;
    FormFit form;
    RoughnessOptions options;  // as they were applied
    HeightMap surface;         // what was evaluated, NaN elsewhere
};

// Throws InputError for negative wavelengths, finest ≥ cutoff > 0 and wavelengths below two pixels.
MEASURE_API Roughness AnalyseRoughness(const HeightMap& map, const RoughnessOptions& options = {},
                                       const Progress& progress = {});
// What a summary says of them.
MEASURE_API Quantities QuantitiesOf(const Roughness& roughness);
// "plane removed, Gaussian filter 0.8 mm, pitch 0.01 mm": how the figures came about.
MEASURE_API std::string ConditionsOf(const Roughness& roughness);

}  // namespace measure
