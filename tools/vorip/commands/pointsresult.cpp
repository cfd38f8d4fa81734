#include "tools/vorip/commands/pointsresult.h"

#include <chrono>

#include "measure/picture.h"
#include "tools/vorip/session/failure.h"

namespace vorip {
namespace {

using Clock = std::chrono::steady_clock;

cv::Mat Draw(const cv::Mat1f& values, const char* title, const char* unit, bool shade) {
    measure::PictureStyle style;
    style.title = title;
    style.unit = unit;
    style.shade = shade;
    return measure::DrawPicture(values, style);
}

void AddFiles(const measure::CloudResult& result, const measure::PlyOptions& ply, OutputSet& outputs,
              const measure::Progress& progress) {
    const measure::Cloud& cloud = result.cloud;
    const bool hasResidual = !cloud.rowResidual.empty();
    for (const char* ending : {".npy", ".tiff"}) {
        outputs.AddImage(std::string("x") + ending, cloud.x);
        outputs.AddImage(std::string("y") + ending, cloud.y);
        outputs.AddImage(std::string("z") + ending, cloud.z);
        if (hasResidual) outputs.AddImage(std::string("residual") + ending, cloud.rowResidual);
    }
    outputs.AddImage("z_picture.png", Draw(cloud.z, "distance from the camera", "mm", true));
    if (hasResidual)
        outputs.AddImage("residual_picture.png",
                         Draw(cloud.rowResidual,
                              result.isFromRows ? "columns: seen - expected" : "rows: seen - expected", "px", false));
    outputs.AddBytes("points.ply", measure::EncodePly(cloud, ply, progress));
    outputs.AddBytes("points.xyz", measure::EncodeXyz(cloud, progress));
}

std::string ReportOf(const measure::CloudResult& result) {
    const cv::Mat1f& z = result.cloud.z;
    double least = 0, greatest = 0;
    cv::minMaxLoc(z, &least, &greatest, nullptr, nullptr, z == z);
    std::string report =
        cv::format("points: %d of %d x %d pixels (%.1f %%), %.6g to %.6g mm from the camera\n", result.points, z.cols,
                   z.rows, 100.0 * result.points / static_cast<double>(z.total()), least, greatest);
    if (!result.cloud.rowResidual.empty())
        report += cv::format("the %s are where the %s expect them to %.3f projector pixels (median)\n",
                             result.isFromRows ? "columns" : "rows", result.isFromRows ? "rows" : "columns",
                             result.medianResidual);
    else
        report += "one direction does not tell whether the calibration fits: a scan along both does\n";
    if (result.dropped > 0) report += cv::format("%d points were dropped by --max-residual\n", result.dropped);
    return report;
}

}  // namespace

PointsResult MakePoints(const measure::ProjectorCoordinates& seen, const measure::Calibration& calibration,
                        const cv::Mat1b& grey, const PointsOptions& options, const std::string& source,
                        OutputSet& outputs, Progress& progress) {
    if (options.maxResidual > 0 && (seen.columns.empty() || seen.rows.empty()))
        Refuse("--max-residual needs a scan along both directions");
    const auto start = Clock::now();
    progress.Stage("computing points");
    measure::CloudOptions cloudOptions;
    cloudOptions.maxResidual = options.maxResidual;
    PointsResult result;
    try {
        result.cloud = measure::MakeCloud(seen, calibration, cloudOptions, progress.Watch());
    } catch (const measure::InputError& error) {
        Refuse(source + ": " + error.what());
    } catch (const measure::NothingUsable& error) {
        throw measure::NothingUsable(source + ": " + error.what());
    }
    const auto computed = Clock::now();
    progress.Stage("writing points");
    measure::PlyOptions ply;
    ply.grey = grey;
    ply.maxDepthStep = options.maxStep > 0 ? options.maxStep : measure::DepthStep(result.cloud.cloud);
    AddFiles(result.cloud, ply, outputs, progress.Watch());
    const auto seconds = [](auto from, auto to) { return std::chrono::duration<double>(to - from).count(); };
    result.entries = EntriesOf(measure::SummaryOf(result.cloud));
    result.entries.emplace_back("largest_depth_step_mm", JsonNumber(ply.maxDepthStep));
    result.entries.emplace_back("seconds", cv::format("{\"compute\": %.3f, \"write\": %.3f}", seconds(start, computed),
                                                      seconds(computed, Clock::now())));
    result.report = ReportOf(result.cloud);
    return result;
}

}  // namespace vorip
