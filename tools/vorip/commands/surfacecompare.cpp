// vorip surface roughness, compare and check.
#include <cmath>
#include <cstdio>

#include "measure/compare.h"
#include "measure/roughness.h"
#include "measure/systemcheck.h"
#include "tools/vorip/commands/surfacecommands.h"
#include "tools/vorip/pictures/selection.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/warning.h"

namespace vorip {
namespace {

constexpr char kRoughnessDetails[] =
    "Sa, Sq, Sp, Sv, Sz, Ssk, Sku, Sdq and Sdr of ISO 25178-2 over the pixels that --mask and --component admit: first "
    "the\n"
    "form is removed, then waves longer than --cutoff by the Gaussian filter of ISO 16610-61, then the mean. Holes "
    "and\n"
    "borders do not disturb the filter. Lengths are millimetres (pixels on the grid of a camera, where Sdq and Sdr "
    "are\n"
    "unknown). The conditions stand with the figures: without them nobody can compare these.\n"
    "\n"
    "Writes summary.json, results.csv, surface.npy (what was evaluated) and picture.png.\n"
    "\n"
    "Example:\n"
    "  vorip surface roughness part.npy --form quadratic --cutoff 0.8 --out roughness";

constexpr char kCompareDetails[] =
    "IN minus REFERENCE along the height, at the pixels of IN. Both are on the same grid: grids of the same --pitch "
    "may\n"
    "cover different areas, grids of a camera have the same size. First IN is aligned:\n"
    "  none   as they are\n"
    "  plane  offset and tilt are taken out\n"
    "  rigid  IN is shifted and turned in space, millimetres needed; it starts from where it is\n"
    "Pixels more than three standard deviations away have no part in aligning, unless --all; they stay in the "
    "results.\n"
    "\n"
    "Writes deviation.npy, picture.png, summary.json and results.csv (rms, percentiles, motion).\n"
    "\n"
    "Example:\n"
    "  vorip surface compare part.npy master.npy --align rigid --out deviation";

constexpr char kCheckDetails[] =
    "Acceptance figures in the terms of VDI/VDE 2634-2, from the points of artefacts: of a sphere the probing errors "
    "of\n"
    "form (range of the radial deviations from the fitted sphere) and of size (against --diameter), of a plane the\n"
    "flatness (range of the distances from the fitted plane), of two spheres the distance and its error (against\n"
    "--distance). Areas are circles X,Y,RADIUS or rectangles X,Y,WIDTH,HEIGHT in pixels. The worst --discard percent "
    "of\n"
    "the points are left out, which the guideline allows up to 0.3.\n"
    "IN is the folder of 'vorip points', or a height map with a pitch.\n"
    "\n"
    "Writes summary.json, results.csv and picture.png, in which the areas are outlined.\n"
    "\n"
    "Example:\n"
    "  vorip surface check points --sphere 300,400,90 --sphere 900,400,90 --diameter 30.002 --distance 100.01 --out "
    "check\n"
    "  vorip surface check points --plane 100,100,1000,700 --out check";

struct RoughnessCommand {
    std::string in, out;
    FormChoice form;
    measure::RoughnessOptions options;
    Selection selection;
};

void RunRoughness(RoughnessCommand& command) {
    OutputSet outputs(command.out);
    Progress progress("vorip surface roughness");
    progress.Stage("reading");
    TakeComponentsBeside(command.selection, command.in);
    const measure::HeightMap map = ReadMap(command.in);
    command.options.form = FormOptionsOf(command.form, ReadSelection(command.selection, map.z, command.in));
    const measure::Roughness found = measure::AnalyseRoughness(map, command.options, progress.Watch());
    const std::string& unit = map.unit;
    SurfaceReport report{
        "surface roughness",
        cv::format("Sa %.4g %s, Sq %.4g %s, Sz %.4g %s", found.sa, unit.c_str(), found.sq, unit.c_str(), found.sz,
                   unit.c_str()),
        {measure::ConditionsOf(found), cv::format("%.1f %% of the area evaluated", 100 * found.validShare)},
        measure::QuantitiesOf(found)};
    progress.Stage("writing");
    for (const auto& file : measure::EncodeHeightMap("surface.npy", found.surface))
        outputs.AddBytes(file.name, file.bytes);
    outputs.AddImage("picture.png", MarkedPicture(map.z.size()).Over(found.surface, "evaluated surface"));
    AddReport(outputs, report, {command.in});
    outputs.Commit();
    progress.End();
    PrintReport(report);
    std::printf("written to %s\n", command.out.c_str());
}

struct CompareCommand {
    std::string in, reference, out, align = "plane";
    bool all = false;
    Selection selection;
};

void RunCompare(CompareCommand& command) {
    OutputSet outputs(command.out);
    Progress progress("vorip surface compare");
    progress.Stage("reading");
    TakeComponentsBeside(command.selection, command.in);
    const measure::HeightMap map = ReadMap(command.in);
    const measure::HeightMap reference = ReadMap(command.reference);
    measure::CompareOptions options;
    options.alignment = command.align == "none"    ? measure::Alignment::eNone
                        : command.align == "rigid" ? measure::Alignment::eRigid
                                                   : measure::Alignment::ePlane;
    options.robust = !command.all;
    options.mask = ReadSelection(command.selection, map.z, command.in);
    const measure::Comparison found = measure::CompareHeights(map, reference, options, progress.Watch());
    SurfaceReport report{"surface compare",
                         cv::format("%.4g %s rms, 90 %% of the deviations between %.4g and %.4g %s", found.rms,
                                    map.unit.c_str(), found.percentiles[2], found.percentiles[6], map.unit.c_str()),
                         {cv::format("aligned: %s; %d pixels compared", command.align.c_str(), found.pixels)},
                         measure::QuantitiesOf(found)};
    progress.Stage("writing");
    for (const auto& file : measure::EncodeHeightMap("deviation.npy", found.deviation))
        outputs.AddBytes(file.name, file.bytes);
    outputs.AddImage("picture.png", MarkedPicture(map.z.size()).Over(found.deviation, "measured minus reference"));
    AddReport(outputs, report, {command.in, command.reference});
    outputs.Commit();
    progress.End();
    PrintReport(report);
    if (!found.converged)
        Warn(
            "the rigid fit did not come to rest: the surfaces are too far apart or too unlike; align them roughly "
            "first");
    std::printf("written to %s\n", command.out.c_str());
}

struct CheckCommand {
    std::string in, out;
    std::vector<std::string> spheres, planes;
    double diameter = 0, distance = 0, discard = 100 * measure::kDiscardedShare;
};

class CheckRun {
public:
    explicit CheckRun(const CheckCommand& command)
        : mCommand(command), mOutputs(command.out), mProgress("vorip surface check") {}

    void Run() {
        mProgress.Stage("reading");
        std::error_code ignored;
        const bool isFolder = std::filesystem::is_directory(mCommand.in, ignored);
        if (isFolder) mCloud = ReadPoints(mCommand.in);
        const measure::HeightMap map = isFolder ? measure::HeightsOf(mCloud) : ReadMap(mCommand.in);
        if (!isFolder) mCloud = measure::PointsOf(map);
        MarkedPicture picture(map.z.size());
        for (const std::string& text : mCommand.planes) CheckPlane(AreaOf("--plane", text, picture));
        std::vector<measure::SphereFit> spheres;
        for (const std::string& text : mCommand.spheres)
            spheres.push_back(CheckSphere(AreaOf("--sphere", text, picture)));
        if (spheres.size() == 2) CheckDistance(spheres);
        mReport.command = "surface check";
        mReport.notes.push_back(cv::format("%g %% of the points left out, the worst ones", mCommand.discard));
        mProgress.Stage("writing");
        mOutputs.AddImage("picture.png", picture.Over(map, "areas of the check"));
        AddReport(mOutputs, mReport, {mCommand.in});
        mOutputs.Commit();
        mProgress.End();
        PrintReport(mReport);
        std::printf("written to %s\n", mCommand.out.c_str());
    }

private:
    cv::Mat1b AreaOf(const std::string& option, const std::string& text, MarkedPicture& picture) const {
        const cv::Mat1b area = ParseAreas(option, {text}, mCloud.z.size());
        picture.OutlineArea(area);
        return area;
    }

    void Say(const std::string& text) { mReport.verdict += (mReport.verdict.empty() ? "" : "; ") + text; }
    // Names begin with what they belong to where there are several of a kind.
    void Append(const std::string& prefix, const measure::Quantities& quantities) {
        for (measure::Quantity quantity : quantities) {
            quantity.name = prefix + quantity.name;
            mReport.results.push_back(quantity);
        }
    }

    void CheckPlane(const cv::Mat1b& area) {
        const auto plane = measure::CheckPlane(mCloud, area, mCommand.discard / 100, mProgress.Watch());
        Say(cv::format("flatness %.4g mm", plane.flatness));
        Append(mCommand.planes.size() > 1 ? cv::format("plane%d_", ++mPlane) : "", measure::QuantitiesOf(plane));
    }
    measure::SphereFit CheckSphere(const cv::Mat1b& area) {
        const auto sphere = measure::CheckSphere(mCloud, area, mCommand.discard / 100, mProgress.Watch());
        Say(cv::format("probing error %.4g mm", sphere.probingError));
        Append(mCommand.spheres.size() > 1 ? cv::format("sphere%d_", ++mSphere) : "",
               measure::QuantitiesOf(sphere, mCommand.diameter));
        return sphere;
    }
    void CheckDistance(const std::vector<measure::SphereFit>& spheres) {
        const measure::Quantities distance = measure::SphereDistance(spheres[0], spheres[1], mCommand.distance);
        Say(distance.size() > 1 ? cv::format("sphere distance error %.4g mm", distance[1].value)
                                : cv::format("sphere distance %.6g mm", distance[0].value));
        Append("", distance);
    }

    const CheckCommand& mCommand;
    OutputSet mOutputs;
    Progress mProgress;
    measure::Cloud mCloud;
    SurfaceReport mReport;
    int mPlane = 0, mSphere = 0;
};

void RunCheck(const CheckCommand& command) {
    if (command.spheres.empty() && command.planes.empty()) Refuse("check needs --sphere X,Y,RADIUS or --plane X,Y,W,H");
    if (command.distance > 0 && command.spheres.size() != 2) Refuse("--distance needs two --sphere");
    if (command.diameter > 0 && command.spheres.empty()) Refuse("--diameter needs --sphere");
    CheckRun(command).Run();
}

}  // namespace

void AddSurfaceRoughnessCommand(CommandLine& program) {
    const auto options = std::make_shared<RoughnessCommand>();
    Command& command = program.Add("surface roughness", "Areal parameters of ISO 25178-2", kRoughnessDetails);
    command.Add("IN", options->in, "Height map").Required();
    AddFormChoice(command, options->form);
    command.Add("--cutoff", options->options.cutoff, "Removes waves longer than this [keeps all]")
        .AboveZero()
        .Type("MM");
    command.Add("--finest", options->options.finest, "Removes waves shorter than this [keeps all]")
        .AboveZero()
        .Type("MM");
    AddSelection(command, options->selection, "are evaluated");
    command.Add("--out,-o", options->out, "Folder for the results").Required().Type("DIR");
    command.OnRun([options] { RunRoughness(*options); });
}

void AddSurfaceCompareCommand(CommandLine& program) {
    const auto options = std::make_shared<CompareCommand>();
    Command& command = program.Add("surface compare", "How a surface deviates from another one", kCompareDetails);
    command.Add("IN", options->in, "Height map that was measured").Required();
    command.Add("REFERENCE", options->reference, "Height map that it should be").Required();
    command.Add("--align", options->align, "What is aligned first").OneOf({"none", "plane", "rigid"}).ShowDefault();
    command.AddFlag("--all", options->all, "Outliers take part in aligning");
    AddSelection(command, options->selection, "are compared");
    command.Add("--out,-o", options->out, "Folder for the results").Required().Type("DIR");
    command.OnRun([options] { RunCompare(*options); });
}

void AddSurfaceCheckCommand(CommandLine& program) {
    const auto options = std::make_shared<CheckCommand>();
    Command& command =
        program.Add("surface check", "Probing error, flatness and sphere distance of artefacts", kCheckDetails);
    command.Add("IN", options->in, "Folder of points, or a height map with a pitch").Required();
    command.Add("--sphere", options->spheres, "Area of a sphere; may be given twice").Type("X,Y,R");
    command.Add("--plane", options->planes, "Area of a plane").Type("X,Y,W,H");
    command.Add("--diameter", options->diameter, "Calibrated diameter of the sphere").AboveZero().Type("MM");
    command.Add("--distance", options->distance, "Calibrated distance of two spheres").AboveZero().Type("MM");
    command.Add("--discard", options->discard, "Worst points that are left out")
        .Between(0, 50)
        .ShowDefault()
        .Type("PERCENT");
    command.Add("--out,-o", options->out, "Folder for the results").Required().Type("DIR");
    command.OnRun([options] { RunCheck(*options); });
}

}  // namespace vorip
