#include "tools/vorip/commands/measuredsurface.h"

#include <cmath>
#include <limits>

#include "measure/picture.h"
#include "measure/surface.h"
#include "measure/writesurface.h"

namespace vorip {
namespace {

constexpr double kSteepest = 4;  // of one surface, in units of the pitch
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

cv::Mat Draw(const measure::HeightMap& map) {
    measure::PictureStyle style;
    style.title = "largest piece, its plane removed";
    if (map.HasPitch()) style.title += cv::format("; %g mm a pixel", map.pitch);
    style.unit = map.unit;
    style.shade = map.HasPitch();
    return measure::DrawPicture(map.z, style);
}

std::string DescribeGrid(const measure::HeightMap& map) {
    return map.HasPitch() ? cv::format("%d x %d pixels of %g mm", map.z.cols, map.z.rows, map.pitch)
                          : "the camera's pixels";
}

MeasuredSurface Add(measure::HeightMap map, const cv::Mat1b& piece, OutputSet& outputs, Progress& progress) {
    progress.Stage("levelling the surface");
    const double all = cv::countNonZero(map.z == map.z), share = cv::countNonZero(piece) / std::max(all, 1.0);
    map.z.setTo(kNaN, piece == 0);
    measure::FormOptions form;
    form.mask = piece;
    const measure::FormFit fit = measure::FitForm(map, form, progress.Watch());
    map = measure::RemoveForm(map, fit);
    double lowest = 0, highest = 0;
    cv::minMaxLoc(map.z, &lowest, &highest, nullptr, nullptr, piece);

    measure::SurfaceFileOptions file;
    file.results = measure::QuantitiesOf(fit, map);
    for (const char* name : {"surface.npy", "surface.gsf"}) {
        if (!map.IsMetric() && std::string(name) == "surface.gsf") continue;  // which knows metres only
        for (const measure::SurfaceFile& part : measure::EncodeHeightMap(name, map, file, progress.Watch()))
            outputs.AddBytes(part.name, part.bytes);
    }
    outputs.AddImage("surface_picture.png", Draw(map));
    const std::string unit = map.unit;
    const std::string entry = JsonValue({{"unit", JsonText(unit)},
                                         {"pitch_mm", map.HasPitch() ? JsonNumber(map.pitch) : "null"},
                                         {"share_of_valid", JsonNumber(share)},
                                         {"lowest", JsonNumber(lowest)},
                                         {"highest", JsonNumber(highest)},
                                         {"rms", JsonNumber(fit.rms)}});
    return {{{"surface", entry}},
            cv::format("surface: the largest piece has %.1f %% of what is valid; over its plane %.4g to %.4g %s, rms "
                       "%.4g, on %s\n",
                       100 * share, lowest, highest, unit.c_str(), fit.rms, DescribeGrid(map).c_str()),
            share};
}

}  // namespace

MeasuredSurface AddSurface(const cv::Mat1f& periods, const cv::Mat1b& piece, OutputSet& outputs, Progress& progress) {
    measure::HeightMap map;
    map.z = periods.clone();
    map.unit = "periods";
    return Add(map, piece, outputs, progress);
}

MeasuredSurface AddSurface(const measure::Cloud& cloud, OutputSet& outputs, Progress& progress) {
    progress.Stage("resampling");
    const measure::HeightMap map = measure::ResampleToGrid(cloud, {}, progress.Watch());
    return Add(map, measure::LargestArea(map.z, kSteepest * map.pitch), outputs, progress);
}

}  // namespace vorip
