#include "measure/roughness.h"

#include <cmath>
#include <limits>
#include <vector>

#include "measure/base/arguments.h"
#include "measure/error.h"
#include "measure/fringe/rowbands.h"
#include "measure/surface/usable.h"

namespace measure {
namespace {

// Power sums of the heights from their mean, and of slopes.
struct Sums {
    double n = 0, absolute = 0, second = 0, third = 0, fourth = 0;
    double slopes = 0, squaredSlopes = 0, area = 0;
    float least = std::numeric_limits<float>::infinity(), most = -least;

    void Add(const Sums& s) {
        n += s.n;
        absolute += s.absolute;
        second += s.second;
        third += s.third;
        fourth += s.fourth;
        slopes += s.slopes;
        squaredSlopes += s.squaredSlopes;
        area += s.area;
        least = std::min(least, s.least);
        most = std::max(most, s.most);
    }
};

// What one row adds; the mean of all heights is 0.
Sums SumRow(const cv::Mat1f& z, int y, double pitch) {
    Sums s;
    const float* const row = z[y];
    for (int x = 0; x < z.cols; ++x) {
        if (!std::isfinite(row[x])) continue;
        const auto h = static_cast<double>(row[x]), square = h * h;
        s.n += 1;
        s.absolute += std::abs(h);
        s.second += square;
        s.third += h * square;
        s.fourth += square * square;
        s.least = std::min(s.least, row[x]);
        s.most = std::max(s.most, row[x]);
    }
    if (pitch <= 0 || y == 0 || y + 1 == z.rows) return s;
    const float *const above = z[y - 1], *const below = z[y + 1];
    const double perLength = 0.5 / pitch;
    for (int x = 1; x + 1 < z.cols; ++x) {
        const double dx = static_cast<double>(row[x + 1] - row[x - 1]) * perLength;
        const double dy = static_cast<double>(below[x] - above[x]) * perLength;
        const double square = dx * dx + dy * dy;
        if (!std::isfinite(square) || !std::isfinite(row[x])) continue;
        s.slopes += 1;
        s.squaredSlopes += square;
        s.area += std::sqrt(1 + square) - 1;
    }
    return s;
}

void Evaluate(Roughness& result, const Progress& progress) {
    cv::Mat1f& z = result.surface.z;
    const double mean = cv::mean(z, UsablePixels(result.surface, {}))[0];
    z -= mean;
    const double pitch = result.surface.IsMetric() ? result.surface.pitch : 0;
    Sums all;
    std::vector<Sums> rows(static_cast<std::size_t>(z.rows));
    ForRowBands(z.size(), progress, "evaluating the surface", [&](const cv::Range& range) {
        for (int y = range.start; y < range.end; ++y) rows[static_cast<std::size_t>(y)] = SumRow(z, y, pitch);
    });
    for (const Sums& row : rows) all.Add(row);  // in one order, whatever the number of cores
    constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
    result.pixels = static_cast<int>(all.n);
    result.sa = all.absolute / all.n;
    result.sq = std::sqrt(all.second / all.n);
    result.sp = static_cast<double>(all.most);
    result.sv = -static_cast<double>(all.least);
    result.sz = result.sp + result.sv;
    result.ssk = all.second > 0 ? all.third / all.n / std::pow(result.sq, 3) : kUnknown;
    result.sku = all.second > 0 ? all.fourth / all.n / std::pow(result.sq, 4) : kUnknown;
    result.sdq = all.slopes > 0 ? std::sqrt(all.squaredSlopes / all.slopes) : kUnknown;
    result.sdr = all.slopes > 0 ? all.area / all.slopes : kUnknown;
}

void RequireWavelengths(const HeightMap& map, const RoughnessOptions& options) {
    const double cutoff = options.cutoff, finest = options.finest, least = 2 * map.PixelLength();
    const std::string unit = map.LengthUnit();
    for (const double wavelength : {cutoff, finest}) {
        if (wavelength == 0) continue;
        if (!(wavelength >= least))
            throw InputError(cv::format("a cut-off of %g %s: it must be two pixels (%g %s) or more", wavelength,
                                        unit.c_str(), least, unit.c_str()));
    }
    if (cutoff > 0 && finest >= cutoff)
        throw InputError(
            cv::format("nothing lies between the cut-offs of %g and %g %s: the fine one must be the smaller", finest,
                       cutoff, unit.c_str()));
}

}  // namespace

Roughness AnalyseRoughness(const HeightMap& map, const RoughnessOptions& options, const Progress& progress) {
    RequireHeights(map);
    RequireWavelengths(map, options);
    Roughness result;
    result.options = options;
    result.form = FitForm(map, options.form, progress);
    result.surface = RemoveForm(map, result.form);
    cv::Mat1f& z = result.surface.z;
    const cv::Mat1b usable = UsablePixels(map, options.form.mask);
    z.setTo(std::numeric_limits<float>::quiet_NaN(), ~usable);
    if (options.finest > 0) z = GaussianFilter(z, options.finest / map.PixelLength(), progress);
    if (options.cutoff > 0) z -= GaussianFilter(z, options.cutoff / map.PixelLength(), progress);
    Evaluate(result, progress);
    const cv::Mat1b& mask = options.form.mask;
    const int admitted = mask.empty() ? static_cast<int>(z.total()) : cv::countNonZero(mask >= 128);
    result.validShare = static_cast<double>(result.pixels) / admitted;
    return result;
}

Quantities QuantitiesOf(const Roughness& r) {
    const std::string &unit = r.surface.unit, length = r.surface.LengthUnit();
    constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
    const auto given = [&](double value) { return value > 0 ? value : kUnknown; };
    return {{"Sa", r.sa, unit},
            {"Sq", r.sq, unit},
            {"Sp", r.sp, unit},
            {"Sv", r.sv, unit},
            {"Sz", r.sz, unit},
            {"Ssk", r.ssk, ""},
            {"Sku", r.sku, ""},
            {"Sdq", r.sdq, ""},
            {"Sdr", r.sdr, ""},
            {"valid_share", r.validShare, ""},
            {"pixels", static_cast<double>(r.pixels), ""},
            {"cutoff", given(r.options.cutoff), length},
            {"finest", given(r.options.finest), length},
            {"pitch", given(r.surface.pitch), length}};
}

std::string ConditionsOf(const Roughness& r) {
    const std::string length = r.surface.LengthUnit();
    std::string text = std::string(NameOf(r.options.form.form)) + " removed";
    if (r.options.form.robust) text += " (fitted without outliers)";
    if (r.options.cutoff > 0) text += cv::format(", Gaussian filter %g %s", r.options.cutoff, length.c_str());
    if (r.options.finest > 0) text += cv::format(", waves below %g %s smoothed", r.options.finest, length.c_str());
    if (r.options.cutoff <= 0 && r.options.finest <= 0) text += ", no filter";
    text += r.surface.HasPitch() ? cv::format(", pitch %g mm", r.surface.pitch) : ", on the grid of the camera";
    return text;
}

}  // namespace measure
