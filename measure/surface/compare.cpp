#include "measure/compare.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/base/decimal.h"
#include "measure/error.h"
#include "measure/fringe/rowbands.h"
#include "measure/surface.h"
#include "measure/surface/rigidfit.h"
#include "measure/surface/sampling.h"
#include "measure/surface/statistics.h"
#include "measure/surface/usable.h"

namespace measure {
namespace {

constexpr std::size_t kLeastPixels = 100;

void RequireSameGrid(const HeightMap& measured, const HeightMap& reference, Alignment alignment) {
    if (measured.unit != reference.unit)
        throw InputError("heights in " + measured.unit + " and in " + reference.unit + " cannot be compared");
    if (measured.HasPitch() != reference.HasPitch() ||
        std::abs(measured.pitch - reference.pitch) > 1e-6 * reference.pitch) {
        throw InputError(
            cv::format("the maps have different grids (pitch %g and %g mm): make both with the same --pitch",
                       measured.pitch, reference.pitch));
    }
    if (!measured.HasPitch())  // a pitch would tell how they lie to each other
        RequireOneSize({"a reference without a pitch", reference.z}, {{"the map", measured.z}});
    if (alignment == Alignment::eRigid && !measured.IsMetric())
        throw InputError("a rigid fit needs heights in millimetres on a grid with a pitch");
}

// The heights of the moved surface over the reference.
cv::Mat1f Differences(const HeightMap& measured, const HeightMap& reference, const cv::Mat1b& usable,
                      const Motion& motion, const Progress& progress) {
    cv::Mat1f differences(measured.z.size(), std::numeric_limits<float>::quiet_NaN());
    ForRowBands(differences.size(), progress, "comparing", [&](const cv::Range& rows) {
        for (int y = rows.start; y < rows.end; ++y) {
            const float* const z = measured.z[y];
            const uchar* const use = usable[y];
            float* const out = differences[y];
            for (int x = 0; x < differences.cols; ++x) {
                if (use[x] == 0) continue;
                if (!measured.HasPitch()) {
                    out[x] = z[x] - reference.z(y, x);
                    continue;
                }
                const cv::Vec3d moved = motion.Of(PointAt(measured, x, y));
                const cv::Point2d at = PixelAt(reference, moved);
                out[x] = static_cast<float>(moved[2]) - Bilinear(reference.z, at.x, at.y);
            }
        }
    });
    return differences;
}

// The same where the grids coincide, without arithmetic that would move pixels.
cv::Mat1f DifferencesInPlace(const HeightMap& measured, const HeightMap& reference, const cv::Mat1b& usable) {
    cv::Mat1f differences(measured.z.size(), std::numeric_limits<float>::quiet_NaN());
    cv::Point shift(0, 0);
    if (measured.HasPitch()) {
        const cv::Point2d exact = PixelAt(reference, {measured.origin.x, measured.origin.y, 0});
        constexpr double kFar = 1e6;  // beyond all maps
        shift = {static_cast<int>(std::lround(std::clamp(exact.x, -kFar, kFar))),
                 static_cast<int>(std::lround(std::clamp(exact.y, -kFar, kFar)))};
    }
    const cv::Rect there({0, 0}, reference.z.size());
    const cv::Rect common = cv::Rect(shift, measured.z.size()) & there;
    if (common.empty()) return differences;
    const cv::Rect here = common - shift;
    cv::Mat(measured.z(here) - reference.z(common)).copyTo(differences(here), usable(here));
    return differences;
}

bool HaveOneGrid(const HeightMap& measured, const HeightMap& reference) {
    if (!measured.HasPitch()) return true;
    const cv::Point2d at = PixelAt(reference, {measured.origin.x, measured.origin.y, 0});
    return std::abs(at.x - std::round(at.x)) < 1e-3 && std::abs(at.y - std::round(at.y)) < 1e-3;
}

// The values at ascending places of the order, found by halves: those from `begin` to `end` are among these places.
void SelectAt(const std::size_t* first, const std::size_t* last, double* values, float* all, float* begin, float* end) {
    if (first == last) return;
    const std::size_t* const middle = first + (last - first) / 2;
    float* const at = all + *middle;
    if (at < end) std::nth_element(begin, at, end);
    values[middle - first] = static_cast<double>(*at);
    SelectAt(first, middle, values, all, begin, std::min(at + 1, end));
    SelectAt(middle + 1, last, values + (middle + 1 - first), all, at, end);
}

void Summarize(Comparison& result) {
    std::vector<float> values;
    values.reserve(result.deviation.z.total());
    double sum = 0, squares = 0;
    for (const float v : result.deviation.z) {
        if (!std::isfinite(v)) continue;
        values.push_back(v);
        sum += static_cast<double>(v);
        squares += static_cast<double>(v) * static_cast<double>(v);
    }
    if (values.size() < kLeastPixels)
        throw NothingUsable(cv::format("the surfaces have only %zu pixels in common", values.size()));
    const auto n = static_cast<double>(values.size());
    result.pixels = static_cast<int>(values.size());
    result.mean = sum / n;
    result.rms = std::sqrt(squares / n);
    const auto extremes = std::minmax_element(values.begin(), values.end());
    result.least = static_cast<double>(*extremes.first);
    result.most = static_cast<double>(*extremes.second);
    std::size_t places[std::size(Comparison::kShares)];
    for (std::size_t i = 0; i < std::size(places); ++i)
        places[i] = static_cast<std::size_t>(std::lround(Comparison::kShares[i] * (n - 1)));
    SelectAt(std::begin(places), std::end(places), result.percentiles, values.data(), values.data(),
             values.data() + values.size());
}

}  // namespace

Comparison CompareHeights(const HeightMap& measured, const HeightMap& reference, const CompareOptions& options,
                          const Progress& progress) {
    RequireHeights(measured);
    RequireHeights(reference);
    RequireSameGrid(measured, reference, options.alignment);
    progress.Report("comparing");
    const cv::Mat1b usable = UsablePixels(measured, options.mask);
    Comparison result;
    result.deviation = measured;
    if (options.alignment == Alignment::eRigid) {
        const RigidFit fit = FitRigidly(measured, reference, usable, options.robust, progress);
        result.rotation = fit.motion.rotation;
        result.translation = fit.motion.Of({0, 0, 0});
        result.rounds = fit.rounds;
        result.converged = fit.converged;
        result.deviation.z = Differences(measured, reference, usable, fit.motion, progress);
    } else {
        result.deviation.z = HaveOneGrid(measured, reference) ? DifferencesInPlace(measured, reference, usable)
                                                              : Differences(measured, reference, usable, {}, progress);
    }
    if (options.alignment == Alignment::ePlane) {
        FormOptions plane;
        plane.robust = options.robust;
        result.deviation = RemoveForm(result.deviation, FitForm(result.deviation, plane, progress));
    }
    progress.Report("adding up the differences");
    Summarize(result);
    return result;
}

Quantities QuantitiesOf(const Comparison& c) {
    const std::string& unit = c.deviation.unit;
    Quantities result = {{"rms", c.rms, unit},
                         {"mean", c.mean, unit},
                         {"least", c.least, unit},
                         {"most", c.most, unit},
                         {"pixels", static_cast<double>(c.pixels), ""}};
    for (std::size_t i = 0; i < std::size(Comparison::kShares); ++i)
        result.push_back({"percentile_" + DecimalText(100 * Comparison::kShares[i], 6), c.percentiles[i], unit});
    if (c.rounds == 0) return result;
    const double cosine = 0.5 * (cv::trace(c.rotation) - 1);
    result.push_back({"rotation", std::acos(std::clamp(cosine, -1.0, 1.0)) * 180 / CV_PI, "degrees"});
    for (int i = 0; i < 3; ++i) result.push_back({std::string("translation_") + "xyz"[i], c.translation[i], "mm"});
    return result;
}

}  // namespace measure
