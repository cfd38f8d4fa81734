// vorip surface step and profile.
#include <algorithm>
#include <cmath>

#include "measure/io.h"
#include "measure/plot.h"
#include "tools/vorip/commands/surfacecommands.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/warning.h"

namespace vorip {
namespace {

constexpr char kStepDetails[] =
    "The height of one area over another, from one fit of two parallel planes (z = a x + b y + c + h in the upper "
    "area)\n"
    "to the pixels of both, with its standard error; compare ISO 5436-1. Areas are X,Y,WIDTH,HEIGHT or circles "
    "X,Y,RADIUS\n"
    "in pixels, several may belong together, or masks; what lies within --margin pixels of their edges is left out. "
    "The\n"
    "standard error counts that neighbouring pixels do not vary independently; it knows nothing of errors of "
    "calibration.\n"
    "\n"
    "Writes summary.json, results.csv and picture.png, in which the areas are outlined.\n"
    "\n"
    "Example:\n"
    "  vorip surface step part.npy --base 20,40,150,300 --top 220,40,150,300 --out step";

constexpr char kProfileDetails[] =
    "Heights along a line through two or more points (columns and rows of pixels), bilinear between pixels; with "
    "--width\n"
    "the mean across so many pixels. Pa, Pq and Pt are those of the unfiltered heights against their best straight "
    "line.\n"
    "\n"
    "Writes profile.csv (distance, x, y, height, samples), profile.png (the curve), picture.png (the line on the map, "
    "a\n"
    "disc at its start), summary.json and results.csv.\n"
    "\n"
    "Example:\n"
    "  vorip surface profile level.npy --line 20,100 400,100 --width 5 --out section";

struct StepCommand {
    std::string in, out, baseMask, topMask;
    std::vector<std::string> base, top;
    int margin = 3;
};

cv::Mat1b AreaOf(const std::string& option, const std::vector<std::string>& areas, const std::string& mask,
                 const cv::Mat1f& z, const std::string& in) {
    if (areas.empty() == mask.empty())
        Refuse("give " + option + " X,Y,WIDTH,HEIGHT or " + option + "-mask FILE, one of the two");
    if (mask.empty()) return ParseAreas(option, areas, z.size());
    const cv::Mat1b area = ReadMask(mask);
    measure::RequireSameSize(area, mask, z, in);
    return area;
}

// With as many decimals as its error gives a meaning to.
std::string WithError(double value, double error, const std::string& unit) {
    const double digits = error > 0 ? 1 - std::floor(std::log10(error)) : 6;
    const int decimals = static_cast<int>(std::clamp(digits, 0.0, 9.0));
    return cv::format("%.*f %s, standard error %.*f %s", decimals, value, unit.c_str(), decimals, error, unit.c_str());
}

void RunStep(const StepCommand& command) {
    OutputSet outputs(command.out);
    Progress progress("vorip surface step");
    progress.Stage("reading");
    const measure::HeightMap map = ReadMap(command.in);
    const cv::Mat1b base = AreaOf("--base", command.base, command.baseMask, map.z, command.in);
    const cv::Mat1b top = AreaOf("--top", command.top, command.topMask, map.z, command.in);
    const measure::Step step = measure::MeasureStep(map, base, top, command.margin, progress.Watch());
    SurfaceReport report{"surface step", WithError(step.height, step.standardError, map.unit), {}, {}};
    report.notes.push_back(cv::format("%d and %d pixels, %d pixels from the edges left out", step.basePixels,
                                      step.topPixels, command.margin));
    report.results = measure::QuantitiesOf(step, map);
    progress.Stage("writing");
    MarkedPicture picture(map.z.size());
    picture.OutlineArea(measure::WithoutEdges(base, command.margin));
    picture.OutlineArea(measure::WithoutEdges(top, command.margin));
    outputs.AddImage("picture.png", picture.Over(map, "areas of the step"));
    AddReport(outputs, report, {command.in});
    outputs.Commit();
    progress.End();
    PrintReport(report);
    const double uneven = std::max(step.rmsBase, step.rmsTop), even = std::min(step.rmsBase, step.rmsTop);
    if (uneven > 3 * even)
        Warn("one of the areas is much rougher than the other: is there an edge, dirt or a shadow in it?");
    std::printf("written to %s\n", command.out.c_str());
}

struct ProfileCommand {
    std::string in, out;
    std::vector<std::string> line;
    measure::ProfileOptions options;
};

void RunProfile(ProfileCommand& command) {
    OutputSet outputs(command.out);
    Progress progress("vorip surface profile");
    progress.Stage("reading");
    const measure::HeightMap map = ReadMap(command.in);
    command.options.line = ParsePoints("--line", command.line);
    const measure::Profile profile = measure::TakeProfile(map, command.options, progress.Watch());
    const auto valid = std::count_if(profile.samples.begin(), profile.samples.end(), [](int n) { return n > 0; });
    SurfaceReport report{"surface profile", "", {}, measure::QuantitiesOf(profile, map)};
    float least = INFINITY, most = -INFINITY;
    for (const float h : profile.height) {
        if (std::isnan(h)) continue;
        least = std::min(least, h);
        most = std::max(most, h);
    }
    report.verdict =
        cv::format("heights from %.6g to %.6g %s over %.6g %s", static_cast<double>(least), static_cast<double>(most),
                   map.unit.c_str(), profile.distance.back(), map.LengthUnit().c_str());
    if (command.options.width > 1) report.notes.push_back(cv::format("mean across %g pixels", command.options.width));
    if (valid < static_cast<std::ptrdiff_t>(profile.samples.size()))
        report.notes.push_back(cv::format("%zu of %zu points have no height",
                                          profile.samples.size() - static_cast<std::size_t>(valid),
                                          profile.samples.size()));
    progress.Stage("writing");
    measure::Plot plot;
    plot.title = "profile of " + std::filesystem::path(command.in).filename().string();
    plot.positionLabel = "distance (" + map.LengthUnit() + ")";
    plot.valueLabel = "height (" + map.unit + ")";
    plot.positions = profile.distance;
    plot.values = profile.height;
    outputs.AddImage("profile.png", measure::DrawPlot(plot));
    MarkedPicture picture(map.z.size());
    picture.DrawLine(command.options.line);
    outputs.AddImage("picture.png", picture.Over(map, "line of the profile"));
    outputs.AddText("profile.csv", measure::CsvOf(profile, map));
    AddReport(outputs, report, {command.in});
    outputs.Commit();
    progress.End();
    PrintReport(report);
    std::printf("written to %s\n", command.out.c_str());
}

}  // namespace

void AddSurfaceStepCommand(CommandLine& program) {
    const auto options = std::make_shared<StepCommand>();
    Command& command =
        program.Add("surface step", "The height of one area over another, with its standard error", kStepDetails);
    command.Add("IN", options->in, "Height map").Required();
    command.Add("--base", options->base, "The lower area").Type("X,Y,W,H");
    command.Add("--top", options->top, "The upper area").Type("X,Y,W,H");
    command.Add("--base-mask", options->baseMask, "The lower area as a mask: 128 and above").Type("FILE");
    command.Add("--top-mask", options->topMask, "The upper area as a mask").Type("FILE");
    command.Add("--margin", options->margin, "Pixels at the edges of the areas that are left out")
        .Between(0, 1000)
        .ShowDefault()
        .Type("N");
    command.Add("--out,-o", options->out, "Folder for the results").Required().Type("DIR");
    command.OnRun([options] { RunStep(*options); });
}

void AddSurfaceProfileCommand(CommandLine& program) {
    const auto options = std::make_shared<ProfileCommand>();
    Command& command = program.Add("surface profile", "Heights along a line, as a table and a curve", kProfileDetails);
    command.Add("IN", options->in, "Height map").Required();
    command.Add("--line", options->line, "Two points or more").Required().Type("X,Y");
    command.Add("--width", options->options.width, "Takes the mean across so many pixels")
        .Between(0, 10000)
        .ShowDefault()
        .Type("PIXELS");
    command.Add("--step", options->options.step, "From point to point along the line")
        .AboveZero()
        .ShowDefault()
        .Type("PIXELS");
    command.Add("--out,-o", options->out, "Folder for the results").Required().Type("DIR");
    command.OnRun([options] { RunProfile(*options); });
}

}  // namespace vorip
