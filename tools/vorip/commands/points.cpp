#include <chrono>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "measure/cloud.h"
#include "measure/io.h"
#include "measure/picture.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/session/failure.h"
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
    double maxStep = 0;
    double maxResidual = 0;
};

class PointsRun {
public:
    explicit PointsRun(const Options& options) : mOptions(options), mProgress("vorip points"), mOutputs(options.out) {}

    void Run() {
        const auto start = Clock::now();
        mProgress.Stage("reading");
        const measure::Calibration calibration = measure::ReadCalibration(mOptions.calibration);
        Read(calibration);
        const auto read = Clock::now();
        Compute(calibration);
        const auto computed = Clock::now();
        mProgress.Stage("writing");
        Write();
        const auto seconds = [](auto from, auto to) { return std::chrono::duration<double>(to - from).count(); };
        std::string summary = measure::SummaryOf(mResult);
        summary.resize(summary.find_last_not_of(" \n}") + 1);
        mOutputs.AddText("summary.json",
                         summary + cv::format(",\n  \"largest_depth_step_mm\": %s,\n  \"seconds\": {\"read\": %.3f, "
                                              "\"compute\": %.3f, \"write\": %.3f}\n}\n",
                                              JsonNumber(mPly.maxDepthStep).c_str(), seconds(start, read),
                                              seconds(read, computed), seconds(computed, Clock::now())));
        mOutputs.Commit();
        mProgress.End();
        for (const std::string& warning : mWarnings) Warn(warning);
        for (const std::string& warning : mResult.warnings) Warn(warning);
        Report();
    }

private:
    using Clock = std::chrono::steady_clock;

    void Read(const measure::Calibration& calibration) {
        ResultFolder folder(mOptions.result, "summary.json", "vorip decode");
        std::ifstream stream(std::filesystem::path(mOptions.result) / "summary.json", std::ios::binary);
        const auto summary = nlohmann::json::parse(stream, nullptr, false);
        mSeen.columns = ReadCoordinates(folder, "columns");
        mSeen.rows = ReadCoordinates(folder, "rows");
        if (mSeen.columns.empty() && mSeen.rows.empty())
            Refuse(mOptions.result + ": holds no columns_coordinate.npy or rows_coordinate.npy of vorip decode");
        CheckDirection(summary, "columns", calibration.projectorSize.width);
        CheckDirection(summary, "rows", calibration.projectorSize.height);
        const std::string grey = mOptions.grey.empty() ? folder.File("modulation.png") : mOptions.grey;
        if (!grey.empty()) {
            mPly.grey = ReadGrey(grey);
            if (mPly.grey.size() != Size())
                Refuse(cv::format("%s (%d x %d) and the scan (%d x %d) must have the same size", grey.c_str(),
                                  mPly.grey.cols, mPly.grey.rows, Size().width, Size().height));
        }
        folder.CheckAgain();
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

    void Compute(const measure::Calibration& calibration) {
        measure::CloudOptions options;
        options.maxResidual = mOptions.maxResidual;
        if (options.maxResidual > 0 && (mSeen.columns.empty() || mSeen.rows.empty()))
            Refuse("--max-residual needs a scan along both directions");
        try {
            mResult = measure::MakeCloud(mSeen, calibration, options, mProgress.Watch());
        } catch (const measure::InputError& error) {
            Refuse(mOptions.result + " and " + mOptions.calibration + ": " + error.what());
        } catch (const measure::NothingUsable& error) {
            throw measure::NothingUsable(mOptions.result + ": " + error.what());
        }
    }

    void Write() {
        const measure::Cloud& cloud = mResult.cloud;
        const bool hasResidual = !cloud.rowResidual.empty();
        for (const char* ending : {".npy", ".tiff"}) {
            mOutputs.AddImage(std::string("x") + ending, cloud.x);
            mOutputs.AddImage(std::string("y") + ending, cloud.y);
            mOutputs.AddImage(std::string("z") + ending, cloud.z);
            if (hasResidual) mOutputs.AddImage(std::string("residual") + ending, cloud.rowResidual);
        }
        mPly.maxDepthStep = mOptions.maxStep > 0 ? mOptions.maxStep : measure::DepthStep(cloud);
        mOutputs.AddImage("z_picture.png", Draw(cloud.z, "distance from the camera", "mm", true));
        if (hasResidual)
            mOutputs.AddImage(
                "residual_picture.png",
                Draw(cloud.rowResidual, mResult.isFromRows ? "columns: seen - expected" : "rows: seen - expected", "px",
                     false));
        mOutputs.AddBytes("points.ply", measure::EncodePly(cloud, mPly, mProgress.Watch()));
        mOutputs.AddBytes("points.xyz", measure::EncodeXyz(cloud, mProgress.Watch()));
    }

    static cv::Mat Draw(const cv::Mat1f& values, const char* title, const char* unit, bool shade) {
        measure::PictureStyle style;
        style.title = title;
        style.unit = unit;
        style.shade = shade;
        return measure::DrawPicture(values, style);
    }

    void Report() const {
        const cv::Mat1f& z = mResult.cloud.z;
        double least = 0, greatest = 0;
        cv::minMaxLoc(z, &least, &greatest, nullptr, nullptr, z == z);
        std::printf("points: %d of %d x %d pixels (%.1f %%), %.3f to %.3f mm from the camera\n", mResult.points, z.cols,
                    z.rows, 100.0 * mResult.points / static_cast<double>(z.total()), least, greatest);
        if (!mResult.cloud.rowResidual.empty())
            std::printf("the %s are where the %s expect them to %.3f projector pixels (median)\n",
                        mResult.isFromRows ? "columns" : "rows", mResult.isFromRows ? "rows" : "columns",
                        mResult.medianResidual);
        if (mResult.dropped > 0) std::printf("%d points were dropped by --max-residual\n", mResult.dropped);
    }

    const Options& mOptions;
    Progress mProgress;
    OutputSet mOutputs;
    measure::ProjectorCoordinates mSeen;
    measure::PlyOptions mPly;
    measure::CloudResult mResult;
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
    command.Add("--max-step", options->maxStep, "Cuts triangles whose depths differ by more [found]")
        .Between(0, 1e6, "a number of millimetres")
        .Type("MM");
    command.Add("--max-residual", options->maxResidual, "Drops points whose second coordinate is farther off")
        .Between(0, 1e6, "a number of projector pixels")
        .Type("PX");
    command.OnRun([options] {
        PointsRun(*options).Run();
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
