#pragma once

#include <string>
#include <vector>

#include "measure/heightmap.h"
#include "measure/results.h"
#include "measure/surface.h"
#include "measure/writesurface.h"
#include "tools/vorip/cli/commandline.h"
#include "tools/vorip/session/outputset.h"

namespace vorip {

// The commands `vorip surface …`, and what they have in common.
void AddSurfaceGridCommand(CommandLine& program);
void AddSurfaceExportCommand(CommandLine& program);
void AddSurfaceLevelCommand(CommandLine& program);
void AddSurfaceStepCommand(CommandLine& program);
void AddSurfaceProfileCommand(CommandLine& program);
void AddSurfaceRoughnessCommand(CommandLine& program);
void AddSurfaceCompareCommand(CommandLine& program);
void AddSurfaceCheckCommand(CommandLine& program);

// A height map, or the points of a folder, with the memory that the command takes for them. Phases have the unit
// that the names of results tell, where no file beside them says it.
measure::HeightMap ReadMap(const std::string& path);
measure::Cloud ReadPoints(const std::string& folder);

// Points "X,Y" of pixels, and areas "X,Y,W,H" (a rectangle) or "X,Y,R" (a circle) as one mask. `option` is what
// messages name.
std::vector<cv::Point2d> ParsePoints(const std::string& option, const std::vector<std::string>& texts);
cv::Mat1b ParseAreas(const std::string& option, const std::vector<std::string>& texts, cv::Size size);

// Options of the form that is taken away first.
struct FormChoice {
    std::string name = "plane";
    bool robust = false;
};
void AddFormChoice(Command& command, FormChoice& choice);
measure::FormOptions FormOptionsOf(const FormChoice& choice, const cv::Mat1b& mask);

// What a command found out, the most important first and in words.
struct SurfaceReport {
    std::string command;  // as in "surface step"
    std::string verdict;
    std::vector<std::string> notes;  // conditions and doubts, a line each
    measure::Quantities results;
};
// Writes summary.json and results.csv.
void AddReport(OutputSet& outputs, const SurfaceReport& report, const std::vector<std::string>& inputs);
void PrintReport(const SurfaceReport& report);

// Heights in colours with what was measured marked on them.
class MarkedPicture {
public:
    explicit MarkedPicture(cv::Size size) : mMarks(size, uchar{0}) {}
    void OutlineArea(const cv::Mat1b& area);
    // A disc stands at the first point.
    void DrawLine(const std::vector<cv::Point2d>& line);
    cv::Mat3b Over(const measure::HeightMap& map, const std::string& title) const;

private:
    cv::Mat1b mMarks;
};

// The file of a height map with the JSON file beside it, and a picture when there is one; complete or not at all.
class SurfaceFileOutput {
public:
    // Refuses names that no height map can have.
    explicit SurfaceFileOutput(const std::string& file);
    void Add(const measure::HeightMap& map, const measure::SurfaceFileOptions& options,
             const measure::Progress& progress);
    void AddPicture(const cv::Mat3b& picture);  // NAME_picture.png
    void Commit() { mOutputs.Commit(); }
    OutputSet& Outputs() { return mOutputs; }  // to be committed with others

private:
    std::filesystem::path mFile;
    OutputSet mOutputs;
};

}  // namespace vorip
