#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "measure/io.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/pointsresult.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/filelist.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/resultfolder.h"
#include "tools/vorip/session/summary.h"
#include "tools/vorip/session/warning.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Points in space, in millimetres, from an absolute phase";
constexpr char kDetails[] =
    "SCAN_RESULT is the folder of 'vorip decode'; the calibration is that of camera and projector: one of 'vorip "
    "calibrate',\n"
    "or a YAML or XML file with the keys Kc kc Kp kp Rp Tp or M1 D1 M4 D4 Rlp Tlp. Points are millimetres in the frame "
    "of\n"
    "the camera: x right, y down, z away from it. Scans that were coded along both directions take depths from the "
    "one\n"
    "that the baseline runs along; the other one tells how well each point fits (the residual, projector pixels).\n"
    "Conventions that do not fit, as a phase that runs the other way, are refused with the likely mistake.\n"
    "\n"
    "Writes x, y and z (.npy and .tiff: one value for each camera pixel, NaN where invalid), residual (likewise, with "
    "both\n"
    "directions), points.ply (grey values and triangles), points.xyz (text), z_picture.png (colours), for scans along "
    "both\n"
    "directions residual_picture.png, and summary.json.\n"
    "\n"
    "Example:\n"
    "  vorip points result --calibration calibration.yml --out points";

struct Options {
    std::string result;
    std::string calibration;
    std::string out;
    std::string grey;
    PointsOptions points;
};

class PointsRun {
public:
    explicit PointsRun(const Options& options) : mOptions(options), mProgress("vorip points"), mOutputs(options.out) {}

    void Run() {
        mProgress.Stage("reading");
        const measure::Calibration calibration = measure::ReadCalibration(mOptions.calibration);
        const cv::Mat1b grey = Read(calibration);
        const PointsResult result = MakePoints(mSeen, calibration, grey, mOptions.points,
                                               mOptions.result + " and " + mOptions.calibration, mOutputs, mProgress);
        mOutputs.AddText("summary.json", SummaryOf("points", result.entries));
        mOutputs.Commit();
        mProgress.End();
        for (const std::string& warning : mWarnings) Warn(warning);
        for (const std::string& warning : result.cloud.warnings) Warn(warning);
        std::fputs(result.report.c_str(), stdout);
    }

private:
    cv::Mat1b Read(const measure::Calibration& calibration) {
        ResultFolder folder(mOptions.result, "summary.json", "vorip decode");
        const nlohmann::json summary = ReadSummary(std::filesystem::path(mOptions.result) / "summary.json");
        mSeen.columns = ReadCoordinates(folder, "columns");
        if (!mSeen.columns.empty()) AnnounceMemory(mSeen.columns, 2);
        mSeen.rows = ReadCoordinates(folder, "rows");
        if (mSeen.columns.empty() && mSeen.rows.empty())
            Refuse(mOptions.result + ": holds no columns_coordinate.npy or rows_coordinate.npy of vorip decode");
        CheckDirection(summary, "columns", calibration.projectorSize.width);
        CheckDirection(summary, "rows", calibration.projectorSize.height);
        const std::string grey = mOptions.grey.empty() ? folder.File("modulation.png") : mOptions.grey;
        cv::Mat1b values;
        if (!grey.empty()) {
            values = ReadGrey(grey);
            if (values.size() != Size())
                Refuse(cv::format("%s (%d x %d) and the scan (%d x %d) must have the same size", grey.c_str(),
                                  values.cols, values.rows, Size().width, Size().height));
        }
        folder.CheckAgain();
        return values;
    }
    cv::Size Size() const { return mSeen.columns.empty() ? mSeen.rows.size() : mSeen.columns.size(); }

    static cv::Mat1b ReadGrey(const std::string& file) {
        const cv::Mat picture = measure::ReadPicture(file);
        if (picture.depth() == CV_8U) return picture;
        if (picture.depth() != CV_16U) Refuse(file + ": grey values are pictures of 8 or 16 bits");
        cv::Mat1b grey;
        picture.convertTo(grey, CV_8U, 1.0 / 257);
        return grey;
    }

    cv::Mat1f ReadCoordinates(ResultFolder& folder, const std::string& name) const {
        const std::string file = folder.File(name + "_coordinate.npy");
        if (file.empty()) return {};
        const cv::Mat image = measure::ReadPicture(file);
        if (image.type() != CV_32F) Refuse(file + ": is no float image");
        return image;
    }

    // What the summary of the scan says about one direction.
    void CheckDirection(const nlohmann::json& summary, const char* name, int length) {
        const auto found = summary.is_object() ? summary.find(name) : summary.end();
        if (found == summary.end() || !found->is_object()) return;
        const auto coded = found->value("projector_pixels", nlohmann::json());
        if (length > 0 && coded.is_number() && coded.get<double>() != length)
            mWarnings.push_back(cv::format("the scan was coded over %g %s, the calibrated projector has %d",
                                           coded.get<double>(), name, length));
        const auto repeat = found->value("orders_known_modulo", nlohmann::json());
        if (repeat.is_number_integer())
            mWarnings.push_back(
                cv::format("the fringes along the %s repeat before the end of the projector: separate "
                           "areas may lie at wrong depths",
                           name));
    }

    const Options& mOptions;
    Progress mProgress;
    OutputSet mOutputs;
    measure::ProjectorCoordinates mSeen;
    std::vector<std::string> mWarnings;
};

}  // namespace

void AddPointsCommand(CommandLine& program) {
    const auto options = std::make_shared<Options>();
    Command& command = program.Add("points", kAbout, kDetails);
    command.Add("SCAN_RESULT", options->result, "Folder of vorip decode").Required();
    command.Add("--calibration", options->calibration, "Camera and projector: .yml, .xml or .json")
        .Required()
        .Type("FILE");
    command.Add("--out,-o", options->out, "Folder for the results").Required().Type("DIR");
    command.Add("--grey", options->grey, "Picture with the grey values of the points [modulation.png]").Type("FILE");
    command.Add("--max-step", options->points.maxStep, "Cuts triangles whose depths differ by more [found]")
        .Between(0, 1e6, "a number of millimetres")
        .Type("MM");
    command.Add("--max-residual", options->points.maxResidual, "Drops points whose second coordinate is farther off")
        .Between(0, 1e6, "a number of projector pixels")
        .Type("PX");
    command.OnRun([options] {
        PointsRun(*options).Run();
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
