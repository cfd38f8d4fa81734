#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "measure/absolute.h"
#include "measure/frames.h"
#include "measure/scan.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/runs.h"
#include "tools/vorip/pictures/phasepicture.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/warning.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "Absolute phase: which projector column or row each pixel sees";
constexpr char kDetails[] =
    "SCAN.json describes what the projector showed: sets of shifted fringes of several periods, or a Gray code, along\n"
    "columns, rows or both. Each pixel's fringe order follows from its own grey levels, so it is right across gaps,\n"
    "steps and shadows too; single pixels are corrected by their neighbours. 'vorip decode --example' prints a\n"
    "description with comments. Pictures that do not fit to it, as frames in another order, wrong periods or signs, "
    "are\n"
    "refused with the likely mistake.\n"
    "\n"
    "Writes for each direction (names begin with columns or rows): columns_coordinate.tiff and .npy (projector "
    "pixels),\n"
    "columns_absolute.tiff and .npy (radians of the finest set), both NaN where invalid; columns_mask.png,\n"
    "columns_reliability.png (255 certain), columns_picture.png (colours, invalid pixels hatched in grey, jumps\n"
    "magenta: neighbours more than half a period apart, by wrong orders or a step of the surface); besides\n"
    "modulation.png (255 x 2B / full scale) and summary.json.\n"
    "\n"
    "Example:\n"
    "  vorip decode scan.json --frames part17 --out result";

class DecodeRun {
public:
    DecodeRun(const DecodeOptions& options, OutputSet& outputs)
        : mOptions(options), mOutputs(outputs), mProgress("vorip decode") {}

    void Run() {
        const measure::Scan scan = measure::ReadScan(mOptions.scan, mOptions.frames);
        if (scan.columns) DecodeDirection("columns", *scan.columns, scan.fullScale);
        if (scan.rows) DecodeDirection("rows", *scan.rows, scan.fullScale);
        mOutputs.AddText("summary.json", "{\n" + mSummary + "\n}\n");
        mOutputs.Commit();
        mProgress.End();
        for (const std::string& warning : mWarnings) Warn(warning);
        std::fputs(mReport.c_str(), stdout);
    }

private:
    using Clock = std::chrono::steady_clock;

    void DecodeDirection(const std::string& name, const measure::CodedAxis& axis, double fullScale) {
        const auto start = Clock::now();
        mProgress.Stage("reading " + name);
        const measure::AxisPictures pictures = measure::ReadPictures(axis);
        const auto read = Clock::now();
        AnnounceMemory(pictures.sines[0][0].size(), 90);
        const int bits = fullScale > 0 ? 0 : measure::GuessCameraBits(pictures.sines[0]);
        if (bits > 0)
            Doubt(name,
                  cv::format("the pictures look like those of a %d-bit camera in 16-bit files: give \"full_scale\": %d",
                             bits, (1 << bits) - 1));
        mProgress.Stage("decoding " + name);
        measure::DecodeOptions options;
        options.limits.fullScale = fullScale;
        options.correctRipple = mOptions.ripple == "auto";
        measure::AbsolutePhase result;
        try {
            result = measure::DecodeAxis(axis, pictures, options, mProgress.Watch());
        } catch (const measure::InputError& error) {
            throw measure::InputError(mOptions.scan + ": " + name + ": " + error.what());
        } catch (const measure::NothingUsable& error) {
            throw measure::NothingUsable(name + ": " + error.what());
        }
        const auto decoded = Clock::now();
        mProgress.Stage("writing " + name);
        Write(name, result, fullScale > 0 ? fullScale : pictures.sines[0][0].depth() == CV_8U ? 255.0 : 65535.0);
        const auto seconds = [](auto from, auto to) { return std::chrono::duration<double>(to - from).count(); };
        mSummary += (mSummary.empty() ? "" : ",\n") + ("\"" + name + "\": ") + measure::SummaryOf(result) + ",\n\"" +
                    name +
                    cv::format("_seconds\": {\"read\": %.3f, \"decode\": %.3f, \"write\": %.3f}", seconds(start, read),
                               seconds(read, decoded), seconds(decoded, Clock::now()));
        Report(name, result);
    }

    void Write(const std::string& name, const measure::AbsolutePhase& result, double fullScale) {
        for (const char* ending : {".tiff", ".npy"}) {
            mOutputs.AddImage(name + "_absolute" + ending, result.phase);
            mOutputs.AddImage(name + "_coordinate" + ending, result.coordinate);
        }
        mOutputs.AddImage(name + "_mask.png", result.mask);
        mOutputs.AddImage(name + "_reliability.png", result.reliability);
        mOutputs.AddImage(
            name + "_picture.png",
            DrawPhase(result.phase,
                      {"absolute phase along the " + name, {}, result.jumps.where, result.mask, "its plane removed"}));
        if (mHasModulation) return;
        cv::Mat modulation;
        result.modulation.convertTo(modulation, CV_8U, 255 * 2 / fullScale);
        mOutputs.AddImage("modulation.png", modulation);
        mHasModulation = true;
    }

    void Report(const std::string& name, const measure::AbsolutePhase& result) {
        const double pixels = static_cast<double>(result.mask.total());
        mReport += cv::format(
            "%s: %.1f %% of %d x %d pixels have an absolute phase, %d were corrected by their "
            "neighbours\n",
            name.c_str(), 100 * result.valid / pixels, result.mask.cols, result.mask.rows, result.corrected);
        if (result.repeat > 0)
            Doubt(name, cv::format("the fringes repeat before the end of the projector: orders are known modulo %d "
                                   "only, between %d separate areas",
                                   result.repeat, result.components));
        if (result.contradicted > 0.01 * result.usable)
            Doubt(name, cv::format("%.1f %% of the usable pixels were dropped because their neighbours contradict them",
                                   100.0 * result.contradicted / result.usable));
        if (result.jumps.count > 0)
            Doubt(name, cv::format("jumps of more than half a period between neighbouring pixels: %d, magenta in "
                                   "%s_picture.png; wrong orders, or steps of the surface",
                                   result.jumps.count, name.c_str()));
        for (std::size_t set = 0; set < result.saturated.size(); ++set)
            if (result.saturated[set] > 0.01)
                Doubt(name, cv::format("sines[%zu]: %.1f %% of the pixels are saturated and left out; expose shorter",
                                       set, 100 * result.saturated[set]));
        for (const std::string& warning : result.warnings) Doubt(name, warning);
    }
    void Doubt(const std::string& name, const std::string& text) { mWarnings.push_back(name + ": " + text); }

    const DecodeOptions& mOptions;
    OutputSet& mOutputs;
    Progress mProgress;
    bool mHasModulation = false;
    std::string mSummary, mReport;
    std::vector<std::string> mWarnings;
};

}  // namespace

void RunDecode(const DecodeOptions& options) {
    OutputSet outputs(options.out);
    DecodeRun(options, outputs).Run();
}

void AddDecodeCommand(CommandLine& program) {
    const auto options = std::make_shared<DecodeOptions>();
    const auto example = std::make_shared<bool>(false);
    Command& command = program.Add("decode", kAbout, kDetails);
    command.Add("SCAN", options->scan, "Description of the scan, a JSON file");
    command.Add("--frames", options->frames, "Folder of the pictures [that of the description]").Type("DIR");
    command.Add("--out", options->out, "Folder for the results").Type("DIR");
    command.Add("--ripple", options->ripple, "Correction of fringes that are no sines")
        .OneOf({"auto", "off"})
        .ShowDefault();
    command.AddFlag("--example", *example, "Print a description with comments, and nothing else");
    command.OnRun([options, example] {
        if (*example) {
            std::fputs(measure::ExampleScan().c_str(), stdout);
            return;
        }
        if (options->scan.empty() || options->out.empty())
            Refuse("vorip decode needs a description and --out DIR; 'vorip decode --example' prints a description");
        RunDecode(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
