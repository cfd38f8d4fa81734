#include "measure/calibrate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>

#include "measure/scan.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/filterinputs.h"
#include "tools/vorip/commands/frameinputs.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/summary.h"
#include "tools/vorip/session/warning.h"

namespace vorip {
namespace {

namespace fs = std::filesystem;

constexpr char kAbout[] = "Calibration of camera and projector from pictures of a board";
constexpr char kDetails[] =
    "Put a flat board before camera and projector and take a scan of it in 10 to 20 poses, each into a folder of its\n"
    "own: tilted by 20 to 30 degrees to all sides, near and far, up to the edges and corners of the field. SCAN.json\n"
    "describes the fringes as for 'vorip decode'; both columns and rows are needed. One description serves all poses.\n"
    "\n"
    "--board counts inner corners, one less than squares, or circles; --square is the side of a square, or the\n"
    "distance of circles (of acircles: the distance of rows), in millimetres. Poses in which no board is found are\n"
    "named and left out; at least 4 must remain.\n"
    "\n"
    "Writes the calibration with units, conventions and standard deviations, and prints the verdict, advice and "
    "figures.\n"
    "Each pose is also measured with the calibration of the others: how far its points are off, in millimetres, is "
    "what\n"
    "a measurement may expect.\n"
    "--report DIR writes report.txt, summary.json, coverage.png (where the points lie in camera and projector) and\n"
    "POSE_points.png for each pose, with the points that were found, their errors enlarged, and the worst ones named.\n"
    "\n"
    "Example:\n"
    "  vorip calibrate --board 13x9 --square 10 --scan scan.json pose* --out calibration.yml --report report";

struct CalibrateOptions {
    std::vector<std::string> poses;
    std::string board, pattern = "chessboard", scan, distortion = "k1,k2,p1,p2", out, report;
    double square = 0;
};

class CalibrateRun {
public:
    explicit CalibrateRun(const CalibrateOptions& options) : mOptions(options), mProgress("vorip calibrate") {
        const WindowSize count = ParseSize("--board", options.board);
        mBoard = {measure::BoardPatternOf(options.pattern),
                  {static_cast<int>(count.cx), static_cast<int>(count.cy)},
                  options.square};
        measure::BoardPoints(mBoard);  // refuses what is no board
        mModel = measure::DistortionModelOf(options.distortion);
        measure::RequireCalibrationName(options.out);
        RequireDifferentPoses();
        std::error_code ignored;
        if (!fs::exists(options.scan, ignored)) Refuse(options.scan + ": no such file");
        const fs::path out = options.out;
        RequireFileName(out);
        mFile.emplace(out.has_parent_path() ? out.parent_path() : fs::path("."), out.filename().string());
        if (!options.report.empty()) mReport.emplace(options.report);
    }

    void Run() {
        for (const std::string& pose : mOptions.poses) View(pose);
        RequireEnough();
        mProgress.Stage("calibrating");
        const measure::CalibrationResult result =
            measure::Calibrate(mViews, mBoard, mProjectorSize, mModel, mProgress.Watch());
        mProgress.Stage("writing");
        std::string text = measure::ReportOf(result, mBoard);
        for (const std::string& refusal : mRefusals) text += "left out: " + refusal + "\n";
        mFile->AddText(fs::path(mOptions.out).filename().string(),
                       measure::EncodeCalibration(mOptions.out, result.calibration));
        if (mReport) AddReport(result, text);
        OutputSet::CommitAll(mReport ? std::vector{&*mFile, &*mReport} : std::vector{&*mFile});
        mProgress.End();
        for (const std::string& refusal : mRefusals) Warn("left out: " + refusal);
        std::fputs(text.c_str(), stdout);
    }

private:
    // A pose that counts twice makes the figures better than they are.
    void RequireDifferentPoses() const {
        std::set<fs::path> known;
        std::error_code ignored;
        for (const std::string& pose : mOptions.poses)
            if (!known.insert(fs::weakly_canonical(fs::path(pose) / ".", ignored)).second)
                Refuse(pose + ": this pose is given twice");
    }

    // The last part of a folder's name, or all of it where another one has that part, too.
    std::string NameOf(const std::string& folder) const {
        const auto last = [](const std::string& path) {
            const fs::path normal = (fs::path(path) / "").lexically_normal().parent_path();
            return normal.filename().string();
        };
        const std::string name = last(folder);
        const auto same =
            std::count_if(mOptions.poses.begin(), mOptions.poses.end(), [&](auto& p) { return last(p) == name; });
        return same > 1 || name.empty() ? folder : name;
    }

    // A pose that is of no use is named; the others go on.
    void View(const std::string& folder) {
        const std::string name = NameOf(folder);
        mProgress.Stage(name);
        std::error_code ignored;
        try {
            if (!fs::is_directory(folder, ignored)) Refuse("is no folder");
            const measure::Scan scan = ReadScan(mOptions.scan, folder);
            mViews.push_back(measure::ViewBoard(name, scan, mBoard, mProgress.Watch()));
            mProjectorSize = {cvRound(scan.columns->length), cvRound(scan.rows->length)};
        } catch (const measure::Stopped&) {
            throw;
        } catch (const measure::OutputError&) {
            throw;
        } catch (const measure::Error& error) {
            mRefusals.push_back(name + ": " + error.what());
        }
    }

    void RequireEnough() const {
        if (mViews.size() >= measure::kLeastPoses) return;
        std::string text = cv::format("%zu of %zu poses can be used, at least %d are needed", mViews.size(),
                                      mOptions.poses.size(), measure::kLeastPoses);
        constexpr std::size_t kMost = 3;
        for (std::size_t i = 0; i < std::min(kMost, mRefusals.size()); ++i) text += "; " + mRefusals[i];
        if (mRefusals.size() > kMost) text += cv::format("; and %zu more", mRefusals.size() - kMost);
        Refuse(text);
    }

    void AddReport(const measure::CalibrationResult& result, const std::string& text) {
        mReport->AddText("report.txt", text);
        mReport->AddText("summary.json", SummaryOf("calibrate", EntriesOf(measure::SummaryOf(result, mViews, mBoard))));
        mReport->AddImage("coverage.png", measure::DrawCoverage(mViews, result));
        for (std::size_t i = 0; i < mViews.size(); ++i) {
            std::string name = mViews[i].name;
            std::replace_if(
                name.begin(), name.end(), [](char c) { return c == '/' || c == '\\' || c == ':'; }, '_');
            mReport->AddImage(name + "_points.png", measure::DrawPose(mViews[i], result.poses[i], mBoard));
        }
    }

    const CalibrateOptions& mOptions;
    measure::BoardDescription mBoard;
    measure::DistortionModel mModel;
    std::optional<OutputSet> mFile;    // the calibration
    std::optional<OutputSet> mReport;  // of it, so that both come at once
    Progress mProgress;
    cv::Size mProjectorSize;
    std::vector<measure::BoardView> mViews;
    std::vector<std::string> mRefusals;
};

}  // namespace

void AddCalibrateCommand(CommandLine& program) {
    const auto options = std::make_shared<CalibrateOptions>();
    Command& command = program.Add("calibrate", kAbout, kDetails);
    command.Add("POSE", options->poses, "Folders with the pictures of one pose each").Required();
    command.Add("--board", options->board, "Inner corners or circles: in a row, and rows").Type("WxH").Required();
    command.Add("--pattern", options->pattern, "What the board shows; acircles: every second row is shifted")
        .OneOf({"chessboard", "circles", "acircles"})
        .ShowDefault();
    command.Add("--square", options->square, "Side of a square or distance of circles, millimetres")
        .Type("MM")
        .Between(1e-3, 1e5)
        .Required();
    command.Add("--scan", options->scan, "Description of the scans, a JSON file").Type("FILE").Required();
    command.Add("--distortion", options->distortion, "Which terms of the distortion to find, or none")
        .Type("TERMS")
        .ShowDefault();
    command.Add("--out", options->out, "File for the calibration (.yml, .yaml or .xml)").Type("FILE").Required();
    command.Add("--report", options->report, "Folder for the report and pictures of the poses").Type("DIR");
    command.OnRun([options] {
        CalibrateRun(*options).Run();
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
