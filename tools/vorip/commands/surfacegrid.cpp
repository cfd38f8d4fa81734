// vorip surface grid, level and export: from one height map to another, and to other formats.
#include <cmath>
#include <cstdio>
#include <list>
#include <set>

#include "tools/vorip/commands/surfacecommands.h"
#include "tools/vorip/pictures/selection.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kGridDetails[] =
    "Points of a camera do not lie on a grid of millimetres. POINTS is the folder of 'vorip points'; OUT gets heights "
    "at\n"
    "multiples of --pitch, linear in the triangles between neighbouring points, NaN in holes. Triangles across a "
    "step,\n"
    "whose depths differ by more than --largest-step, stay open. Where surfaces lie behind one another, the one "
    "nearest\n"
    "to the camera counts. Heights rise towards the camera. A picture is drawn beside OUT (OUT_picture.png).\n"
    "\n"
    "Example:\n"
    "  vorip surface grid points --pitch 0.1 --out part.npy";

constexpr char kLevelDetails[] =
    "OUT is IN minus its form, fitted by least squares to the pixels that --mask and --component admit and taken away\n"
    "everywhere. With --robust, pixels more than three standard deviations away (1.4826 x the median deviation) are "
    "left\n"
    "out and the fit is repeated. --points takes the plane through three pixels instead, each the median of its\n"
    "surroundings within --radius.\n"
    "\n"
    "Example:\n"
    "  vorip surface level part.npy --robust --out level.npy\n"
    "  vorip surface level part.npy --points 20,20 600,20 300,400 --out level.npy";

constexpr char kExportDetails[] =
    "Several names at once are written together, all or none. Formats, by the ending of the name:\n"
    "  .npy, .tiff  floats, with a JSON file beside them; with --bits 16, .tiff and .png hold whole numbers v with\n"
    "               height = offset + scale x v (0: none), and the JSON file tells offset and scale\n"
    "  .gsf         for Gwyddion, in metres\n"
    "  .stl         binary triangles in millimetres, for CAD and mesh programs\n"
    "  .xyz, .csv   text: x y z line by line; heights row by row\n"
    "--pitch and --unit say what a plain file does not tell by itself.\n"
    ".stl and .xyz need a grid of millimetres, as 'vorip surface grid' makes it.\n"
    "\n"
    "Example:\n"
    "  vorip surface export level.npy --out level.gsf level.stl\n"
    "  vorip surface export other.tiff --pitch 0.05 --out other.npy";

struct GridCommand {
    std::string points, out;
    measure::GridOptions grid;
};

std::string SizeOf(const measure::HeightMap& map) {
    std::string text = cv::format("%d x %d pixels", map.z.cols, map.z.rows);
    if (map.HasPitch()) text += cv::format(" of %g mm", map.pitch);
    return text;
}

double ValidShare(const measure::HeightMap& map) {
    return cv::countNonZero(map.z == map.z) / static_cast<double>(map.z.total());
}

void RunGrid(const GridCommand& command) {
    SurfaceFileOutput output(command.out);
    Progress progress("vorip surface grid");
    progress.Stage("reading");
    const measure::Cloud cloud = ReadPoints(command.points);
    const measure::HeightMap map = measure::ResampleToGrid(cloud, command.grid, progress.Watch());
    progress.Stage("writing");
    output.Add(map, {}, progress.Watch());
    output.AddPicture(MarkedPicture(map.z.size()).Over(map, "heights towards the camera"));
    output.Commit();
    progress.End();
    std::printf("surface grid: %s, %.1f %% of them with a height\n", SizeOf(map).c_str(), 100 * ValidShare(map));
    std::printf("written to %s\n", command.out.c_str());
}

struct LevelCommand {
    std::string in, out;
    FormChoice form;
    std::vector<std::string> points;
    int radius = 2;
    Selection selection;
};

measure::FormFit FitLevel(const LevelCommand& command, const measure::HeightMap& map,
                          const measure::Progress& progress) {
    if (command.points.empty())
        return measure::FitForm(map, FormOptionsOf(command.form, ReadSelection(command.selection, map.z, command.in)),
                                progress);
    if (command.points.size() != 3) Refuse("--points needs three points, as in --points 20,20 600,20 300,400");
    std::array<cv::Point, 3> pixels;
    const auto points = ParsePoints("--points", command.points);
    for (std::size_t i = 0; i < 3; ++i) {
        if (std::abs(points[i].x) > 1e6 || std::abs(points[i].y) > 1e6) Refuse("--points lies outside the map");
        pixels[i] = points[i];
    }
    return measure::PlaneThrough(map, pixels, command.radius);
}

void RunLevel(LevelCommand& command) {
    SurfaceFileOutput output(command.out);
    Progress progress("vorip surface level");
    progress.Stage("reading");
    TakeComponentsBeside(command.selection, command.in);
    const measure::HeightMap map = ReadMap(command.in);
    const measure::FormFit fit = FitLevel(command, map, progress.Watch());
    const measure::HeightMap level = measure::RemoveForm(map, fit);
    progress.Stage("writing");
    measure::SurfaceFileOptions options;
    options.results = measure::QuantitiesOf(fit, map);
    output.Add(level, options, progress.Watch());
    const std::string form = command.points.empty() ? command.form.name : "plane through three points";
    output.AddPicture(MarkedPicture(map.z.size()).Over(level, "without " + form));
    output.Commit();
    progress.End();
    std::printf("surface level: %s removed, %.6g %s rms remain at %d pixels", form.c_str(), fit.rms, map.unit.c_str(),
                fit.used);
    std::printf(fit.rejected > 0 ? ", %d outliers left out\n" : "\n", fit.rejected);
    std::fputs(measure::TextOf(options.results).c_str(), stdout);
    std::printf("written to %s\n", command.out.c_str());
}

struct ExportCommand {
    std::string in;
    std::vector<std::string> out;
    measure::SurfaceFileOptions options;
    double pitch = 0;
    std::string unit;
};

void RunExport(const ExportCommand& command) {
    std::set<std::filesystem::path> places;
    for (const std::string& out : command.out)
        if (!places.insert(std::filesystem::absolute(out).lexically_normal()).second)
            Refuse("--out " + out + ": is given twice");
    // The one that made a folder goes last.
    std::list<SurfaceFileOutput> outputs;
    for (const std::string& out : command.out) outputs.emplace_front(out);
    Progress progress("vorip surface export");
    progress.Stage("reading");
    measure::HeightMap map = ReadMap(command.in);
    if (command.pitch > 0 && map.HasPitch() && std::abs(map.pitch - command.pitch) > 1e-6 * command.pitch)
        Refuse(cv::format("--pitch=%g: %s says that it is %g mm", command.pitch, command.in.c_str(), map.pitch));
    if (command.pitch > 0) map.pitch = command.pitch;
    if (!command.unit.empty()) map.unit = command.unit;
    measure::SurfaceFileOptions options = command.options;
    options.title = std::filesystem::path(command.in).filename().string();
    std::vector<OutputSet*> sets;
    for (SurfaceFileOutput& output : outputs) {
        output.Add(map, options, progress.Watch());
        sets.push_back(&output.Outputs());
    }
    OutputSet::CommitAll(sets);
    progress.End();
    std::printf("surface export: %s\n", SizeOf(map).c_str());
    for (const std::string& out : command.out) std::printf("written to %s\n", out.c_str());
}

}  // namespace

void AddSurfaceGridCommand(CommandLine& program) {
    const auto options = std::make_shared<GridCommand>();
    Command& command =
        program.Add("surface grid", "Resamples the points of a camera to a grid of millimetres", kGridDetails);
    command.Add("POINTS", options->points, "Folder with x.npy, y.npy and z.npy").Required();
    command.Add("--pitch", options->grid.pitch, "Distance of the grid's pixels, millimetres [that of the points]")
        .AboveZero()
        .Type("MM");
    command
        .Add("--largest-step", options->grid.largestStep,
             "Depths of a triangle may differ by so much [4 x the distance of the points]")
        .AboveZero()
        .Type("MM");
    command.Add("--out,-o", options->out, "The height map: .npy or .tiff").Required().Type("FILE");
    command.OnRun([options] { RunGrid(*options); });
}

void AddSurfaceLevelCommand(CommandLine& program) {
    const auto options = std::make_shared<LevelCommand>();
    Command& command = program.Add("surface level", "Takes a plane or a smooth form away", kLevelDetails);
    command.Add("IN", options->in, "Height map").Required();
    AddFormChoice(command, options->form);
    command.Add("--points", options->points, "The plane through three pixels instead").Type("X,Y");
    command.Add("--radius", options->radius, "Pixels around each of the three")
        .Between(0, 1000)
        .ShowDefault()
        .Type("N");
    AddSelection(command, options->selection, "belong to the form");
    command.Add("--out,-o", options->out, "The level height map: .npy or .tiff").Required().Type("FILE");
    command.OnRun([options, &command] {
        if (options->points.empty())
            command.RefuseGiven({"--radius"}, "is for --points");
        else
            command.RefuseGiven({"--form", "--robust", "--mask", "--components", "--component"},
                                "is for forms that are fitted, not for a plane through --points");
        RunLevel(*options);
    });
}

void AddSurfaceExportCommand(CommandLine& program) {
    const auto options = std::make_shared<ExportCommand>();
    Command& command = program.Add("surface export", "Writes a height map for other programs", kExportDetails);
    command.Add("IN", options->in, "Height map").Required();
    command.Add("--out,-o", options->out, std::string("The files: ") + measure::kSurfaceFormats)
        .Required()
        .Type("FILE");
    command.Add("--bits", options->options.bits, ".tiff: 32 (floats) or 16 (whole numbers with a scale)")
        .ShowDefault()
        .Type("N");
    command.Add("--pitch", options->pitch, "Distance of the pixels of a file that does not tell it")
        .AboveZero()
        .Type("MM");
    command.Add("--unit", options->unit, "Unit of the heights of such a file [mm]").Type("UNIT");
    command
        .Add("--largest-step", options->options.largestStep,
             ".stl: heights of a triangle may differ by so much [4 x the pitch]")
        .AboveZero()
        .Type("MM");
    command.OnRun([options] { RunExport(*options); });
}

}  // namespace vorip
