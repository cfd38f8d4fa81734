#pragma once

#include <array>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

#include "measure/export.h"
#include "measure/heightmap.h"
#include "measure/progress.h"
#include "measure/results.h"

// Surfaces: what is left of heights or phases when their form is taken away, steps, and sections. All masks admit
// values of 128 and above, an empty one admits all; a mask of another size is an InputError. Without a single usable
// pixel the functions throw NothingUsable.
namespace measure {

// --- Form

enum class Form { eMean, ePlane, eQuadratic, eCubic };
// "mean", "plane", "quadratic" or "cubic"; nothing for any other word.
MEASURE_API std::optional<Form> FormOf(const std::string& name);
// The word for a form.
MEASURE_API const char* NameOf(Form form);

// How many times 1.4826 times the median distance from the median a value may lie away before it counts as an outlier:
// three standard deviations of normal noise, whatever the outliers are.
inline constexpr double kOutlierLimit = 3.0;

struct FormOptions {
    Form form = Form::ePlane;
    bool robust = false;  // fits again without outliers until these stay the same
    cv::Mat1b mask;
};

struct FormFit {
    Form form = Form::ePlane;
    // Of x³, x², x, y³, y², y, x y², x² y, x y and 1; x and y are lengths (HeightMap::LengthUnit) from the upper left
    // pixel, to the right and upwards.
    std::array<double, 10> coefficients{};
    double rms = 0;                                    // of what remains at the pixels of the fit
    int used = 0, rejected = 0;                        // pixels of the fit, and outliers
    double SlopeX() const { return coefficients[2]; }  // at the upper left pixel; of a plane, everywhere
    double SlopeY() const { return coefficients[5]; }
};

// Least squares by KrLBestFit. Throws NothingUsable when the pixels do not determine the form: fewer than it has terms,
// or all on one line.
MEASURE_API FormFit FitForm(const HeightMap& map, const FormOptions& options = {}, const Progress& progress = {});
// The plane through the medians of the heights within `radius` pixels around three pixels. Throws InputError for pixels
// outside the map or on one line and a negative radius, NothingUsable where there is no height.
MEASURE_API FormFit PlaneThrough(const HeightMap& map, const std::array<cv::Point, 3>& pixels, int radius = 2);
// The heights minus the form, with the same pitch, origin and unit.
MEASURE_API HeightMap RemoveForm(const HeightMap& map, const FormFit& fit);
// What a summary says of the fit: form, coefficients, slopes, rms and how many pixels took part.
MEASURE_API Quantities QuantitiesOf(const FormFit& fit, const HeightMap& map);

// Subtracts the plane that fits best, by least squares, to the finite values that the mask admits, from all values.
// Without three admitted pixels that are not on one line, the values stay.
MEASURE_API cv::Mat1f RemovePlane(const cv::Mat1f& values, const cv::Mat1b& mask = {});

// --- Step

// The height of one area over another, from one fit z = a x + b y + c + h [in the upper area] to the pixels of both, as
// for a calibrated step (compare ISO 5436-1, there in profiles).
struct Step {
    double height = 0;         // h, unit of the map
    double standardError = 0;  // of h by the noise that remains; counts neighbours that do not vary independently
    double slopeX = 0, slopeY = 0;
    double rmsBase = 0, rmsTop = 0;  // of what remains in either area
    int basePixels = 0, topPixels = 0;
    double correlation = 1;  // how many neighbouring pixels vary together; 1: independent noise
};

// `base` and `top` admit the pixels of the two areas; those within `margin` pixels of where an area ends are left out,
// as edges are measured badly. Throws InputError for missing masks, areas that overlap and a negative margin,
// NothingUsable when nothing of an area is left or the areas lie on one line.
MEASURE_API Step MeasureStep(const HeightMap& map, const cv::Mat1b& base, const cv::Mat1b& top, int margin = 3,
                             const Progress& progress = {});
// The pixels that MeasureStep takes of an area. Throws InputError for an area without pixels and a negative margin.
MEASURE_API cv::Mat1b WithoutEdges(const cv::Mat1b& area, int margin, const Progress& progress = {});
// What a summary says of the step.
MEASURE_API Quantities QuantitiesOf(const Step& step, const HeightMap& map);

// --- Profile

struct ProfileOptions {
    std::vector<cv::Point2d> line;  // pixels (column, row), two or more
    double width = 0;               // pixels across the line over which heights are averaged; 0 or 1: the line alone
    double step = 1;                // pixels along the line from point to point
};

// Heights along a polyline, one element per point; lists of different lengths are an InputError.
struct Profile {
    std::vector<cv::Point2d> pixels;  // column and row
    std::vector<double> distance;     // along the line, HeightMap::LengthUnit
    std::vector<float> height;        // NaN where there is none
    std::vector<int> samples;         // that were averaged
};

// Bilinear between pixels. Throws InputError for less than two points, points outside the map, steps of 0 and less and
// lines of more than a million points; NothingUsable when no point has a height.
MEASURE_API Profile TakeProfile(const HeightMap& map, const ProfileOptions& options, const Progress& progress = {});
// Length, and Pa, Pq, Pt of the heights against their best line (ISO 21920-2, without filter).
MEASURE_API Quantities QuantitiesOf(const Profile& profile, const HeightMap& map);
// One line per point: distance, x, y (of the map's frame), height, samples.
MEASURE_API std::string CsvOf(const Profile& profile, const HeightMap& map);

// --- Areas

// A rectangle or a circle of pixels as a mask. Throws InputError when no pixel of the map lies in it, and for numbers
// that are not finite.
MEASURE_API cv::Mat1b MaskOf(cv::Size size, const cv::Rect2d& rectangle);
MEASURE_API cv::Mat1b MaskOf(cv::Size size, cv::Point2d centre, double radius);
// The largest 4-connected area of finite values that differ by less than `largestStep` from pixel to pixel, as a mask.
// Throws InputError without values, and unless the step is above 0.
MEASURE_API cv::Mat1b LargestArea(const cv::Mat1f& values, double largestStep);

}  // namespace measure
