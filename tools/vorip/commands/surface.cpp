#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>

#include "measure/picture.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/surfacecommands.h"
#include "tools/vorip/pictures/selection.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/resultfolder.h"
#include "tools/vorip/session/summary.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Measures on height maps: level, steps, profiles, roughness, comparisons; other file formats";
constexpr char kDetails[] =
    "A height map is a float picture or array (.tiff, .npy) of millimetres with a JSON file beside it "
    "(part.npy.json),\n"
    "which carries pitch, origin and unit; 'vorip surface grid' makes one from the points of 'vorip points'. Also "
    "read\n"
    "are .gsf files, the folder of 'vorip points' itself, and plain float files: both on the grid of the camera, "
    "without\n"
    "a pitch, so that lengths along the surface are pixels. Heights rise towards the viewer, x to the right, y "
    "upwards.\n"
    "Positions in options are pixels, as the axes of pictures show them: column,row from the upper left one, 0,0.\n"
    "\n"
    "'vorip surface COMMAND --help' tells more.\n"
    "\n"
    "Example:\n"
    "  vorip surface grid points --pitch 0.1 --out part.npy\n"
    "  vorip surface level part.npy --robust --out level.npy\n"
    "  vorip surface profile level.npy --line 20,100 400,100 --width 5 --out section\n"
    "  vorip surface export level.npy --out level.gsf level.stl";

std::filesystem::path FolderOf(const std::filesystem::path& file) {
    return file.has_parent_path() ? file.parent_path() : std::filesystem::path(".");
}

const std::string& RequireSurfaceFile(const std::string& file) {
    RequireFileName(file);
    measure::RequireSurfaceName(file);
    return file;
}

// The points in a folder of vorip points must be those that its summary lists, all of one run.
template <class Read>
auto OfOneRun(const std::string& folder, const Read& read) {
    constexpr char kSummary[] = "summary.json";
    std::error_code ignored;
    const std::filesystem::path path = folder;
    if (!std::filesystem::exists(path / kSummary, ignored)) {
        if (!std::filesystem::exists(path / "x.npy", ignored))
            Refuse(folder + ": no x.npy in this folder; 'vorip points' writes x.npy, y.npy and z.npy");
        return read(folder);
    }
    ResultFolder results(folder, kSummary, "vorip points");
    for (const char* name : {"x.npy", "y.npy", "z.npy"}) results.Required(name);
    auto points = read(folder);
    results.CheckAgain();
    return points;
}

}  // namespace

void AddSurfaceCommands(CommandLine& program) {
    program.Add("surface", kAbout, kDetails);
    AddSurfaceGridCommand(program);
    AddSurfaceLevelCommand(program);
    AddSurfaceStepCommand(program);
    AddSurfaceProfileCommand(program);
    AddSurfaceRoughnessCommand(program);
    AddSurfaceCompareCommand(program);
    AddSurfaceCheckCommand(program);
    AddSurfaceExportCommand(program);
}

measure::HeightMap ReadMap(const std::string& path) {
    std::error_code ignored;
    const bool isFolder = std::filesystem::is_directory(path, ignored);
    measure::HeightMap map = isFolder ? OfOneRun(path, measure::ReadHeightMap) : measure::ReadHeightMap(path);
    const std::string unit = UnitOfResult(path);
    if (!unit.empty() && !std::filesystem::exists(path + ".json", ignored)) map.unit = unit;  // as of a phase
    AnnounceMemory(map.z);
    return map;
}

measure::Cloud ReadPoints(const std::string& folder) {
    const measure::Cloud cloud = OfOneRun(folder, measure::ReadCloud);
    AnnounceMemory(cloud.z, 3);
    return cloud;
}

void AddFormChoice(Command& command, FormChoice& choice) {
    command.Add("--form", choice.name, "What is taken away")
        .OneOf({"mean", "plane", "quadratic", "cubic"})
        .ShowDefault();
    command.AddFlag("--robust", choice.robust, "Fits again without outliers, until these stay the same");
}

measure::FormOptions FormOptionsOf(const FormChoice& choice, const cv::Mat1b& mask) {
    measure::FormOptions options;
    options.form = *measure::FormOf(choice.name);
    options.robust = choice.robust;
    options.mask = mask;
    return options;
}

void AddReport(OutputSet& outputs, const SurfaceReport& report, const std::vector<std::string>& inputs) {
    outputs.AddText("results.csv", measure::CsvOf(report.results));
    outputs.AddText("summary.json", SummaryOf(report.command, {{"verdict", JsonText(report.verdict)},
                                                               {"inputs", JsonList(inputs)},
                                                               {"notes", JsonList(report.notes)},
                                                               {"results", measure::JsonOf(report.results)}}));
}

void PrintReport(const SurfaceReport& report) {
    std::printf("%s: %s\n", report.command.c_str(), report.verdict.c_str());
    for (const std::string& note : report.notes) std::printf("  (%s)\n", note.c_str());
    std::fputs(measure::TextOf(report.results).c_str(), stdout);
}

void MarkedPicture::OutlineArea(const cv::Mat1b& area) {
    const cv::Mat1b border(area & ~measure::WithoutEdges(area, 1));
    mMarks.setTo(255, border);
}

void MarkedPicture::DrawLine(const std::vector<cv::Point2d>& line) {
    std::vector<cv::Point> pixels;
    for (const cv::Point2d p : line) pixels.emplace_back(cvRound(p.x), cvRound(p.y));
    cv::polylines(mMarks, pixels, false, cv::Scalar::all(255));
    const int radius = std::max(2, std::max(mMarks.cols, mMarks.rows) / 150);
    cv::circle(mMarks, pixels.front(), radius, cv::Scalar::all(255), cv::FILLED);
}

cv::Mat3b MarkedPicture::Over(const measure::HeightMap& map, const std::string& title) const {
    measure::PictureStyle style;
    style.title = title;
    style.unit = map.unit;
    style.shade = true;
    style.marks = mMarks;
    return measure::DrawPicture(map.z, style);
}

SurfaceFileOutput::SurfaceFileOutput(const std::string& file)
    : mFile(RequireSurfaceFile(file)), mOutputs(FolderOf(mFile), mFile.filename().string()) {}

void SurfaceFileOutput::Add(const measure::HeightMap& map, const measure::SurfaceFileOptions& options,
                            const measure::Progress& progress) {
    for (const auto& file : measure::EncodeHeightMap(mFile.filename().string(), map, options, progress))
        mOutputs.AddBytes(file.name, file.bytes);
}

void SurfaceFileOutput::AddPicture(const cv::Mat3b& picture) {
    mOutputs.AddImage(mFile.stem().string() + "_picture.png", picture);
}

}  // namespace vorip
