#include <cmath>
#include <cstdio>

#include "measure/io.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/fringes.h"
#include "tools/vorip/commands/runs.h"
#include "tools/vorip/pictures/inputs.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "The wrapped phase of three or more pictures of shifted fringes";
constexpr char kDetails[] =
    "Frame k is taken as I_k = A + B cos(phase + shift_k), with shift_k = 360 k / N degrees (k = 0, 1, ...) unless\n"
    "--shift says otherwise; A, B and the phase are found by least squares in every pixel.\n"
    "\n"
    "Writes phase.png (256 steps per period, 0 is phase 0), phase16.png (65,536 steps per period), modulation.png\n"
    "(8-bit quality: 255 x 2B / full scale) and mask.png (255 usable, 0 excluded). A pixel is excluded when it is too\n"
    "dark, saturated in any frame, or has too little modulation; the limits are in percent of full scale. So is a "
    "line\n"
    "along borders where the fringe contrast B / A changes abruptly, as between an object and the wall behind it: the\n"
    "phase may run on across such a border by accident, and the orders of one side would be given to the other.\n"
    "\n"
    "Example:\n"
    "  vorip phase f0.png f1.png f2.png --shift=-120,0,120 --out result";

std::vector<double> Shifts(const PhaseOptions& options) {
    const std::size_t count = options.frames.size();
    if (options.shift.empty()) return EqualShifts(count);
    auto degrees = ParseNumbers(options.shift);
    if (!degrees)
        Refuse("--shift=" + options.shift + ": must be numbers separated by commas, as in --shift=-120,0,120");
    if (degrees->size() != count) {
        Refuse(cv::format("--shift gives %zu shifts for %zu frames", degrees->size(), count));
    }
    for (double& d : *degrees) {
        if (!(std::abs(d) <= 1e6)) Refuse("--shift=" + options.shift + ": shifts go up to 1000000 degrees");
        d *= CV_PI / 180.0;
    }
    return *degrees;
}

std::vector<cv::Mat> ReadFrames(const std::vector<std::string>& files) {
    std::vector<cv::Mat> frames;
    for (const std::string& file : files) {
        frames.push_back(measure::ReadPicture(file));
        if (frames.back().depth() == CV_32S) Refuse(file + ": a fringe picture is 8-bit, 16-bit or float");
        measure::RequireSameKind(frames.front(), files.front(), frames.back(), file);
    }
    return frames;
}

double FullScale(const PhaseOptions& options, const cv::Mat& frame) {
    if (options.fullScale > 0) return options.fullScale;
    if (frame.depth() == CV_32F) Refuse("float pictures need --full-scale, the grey level at which they saturate");
    return frame.depth() == CV_8U ? 255.0 : 65535.0;
}

}  // namespace

void RunPhase(const PhaseOptions& options) {
    if (options.frames.size() < 3) {
        Refuse(cv::format("at least three fringe pictures are needed, %zu given", options.frames.size()));
    }
    const std::vector<double> shifts = Shifts(options);
    OutputSet outputs(options.out);
    Progress progress("vorip phase");
    progress.Stage("reading");
    const std::vector<cv::Mat> frames = ReadFrames(options.frames);
    const double fullScale = FullScale(options, frames.front());
    const double percent = fullScale / 100.0;
    progress.Stage("computing");
    const FringeResult result = SolveFringes(frames, shifts, fullScale,
                                             {options.minIntensity * percent, options.saturation * percent,
                                              options.minModulation * percent, options.borderRatio});
    progress.Stage("writing");
    outputs.AddImage("phase.png", result.phase8);
    outputs.AddImage("phase16.png", result.phase16);
    outputs.AddImage("modulation.png", result.modulation);
    outputs.AddImage("mask.png", result.mask);
    outputs.Commit();
    progress.End();

    const double share = static_cast<double>(cv::countNonZero(result.mask)) / static_cast<double>(result.mask.total());
    std::printf("phase: %zu frames of %d x %d pixels, %.1f %% usable\n", frames.size(), result.mask.cols,
                result.mask.rows, 100.0 * share);
    if (share < 0.01) {
        std::printf(
            "hardly anything is usable: too dark or saturated, or the fringes do not move from frame to frame\n");
    }
}

void AddPhaseCommand(CommandLine& program) {
    const auto options = std::make_shared<PhaseOptions>();
    Command& command = program.Add("phase", kAbout, kDetails);
    command.Add("FRAME", options->frames, "Fringe pictures, in the order of their shifts").Required();
    command.Add("--out", options->out, "Folder for the results").Required().Type("DIR");
    command.Add("--shift", options->shift, "Phase shift of each frame, as in --shift=-120,0,120 [360 k / N]")
        .Type("DEG,DEG,...");
    command
        .Add("--full-scale", options->fullScale,
             "Grey level of full scale [255 or 65535 by the pictures' type]; 4095 for a 12-bit camera")
        .Accept([](double v) { return v > 0; }, "above 0")
        .Type("LEVEL");
    const auto limit = [&](const char* name, double& value, const char* help) {
        command.Add(name, value, help)
            .Accept([](double v) { return v >= 0; }, "a percentage of 0 or more")
            .ShowDefault()
            .Type("PERCENT");
    };
    limit("--min-intensity", options->minIntensity, "Least mean intensity A");
    limit("--saturation", options->saturation, "Level at which a frame counts as saturated; above 100: never");
    limit("--min-modulation", options->minModulation,
          "Least modulation B of 3 x 3 pixels together; one pixel may have half of it");
    command
        .Add("--border-ratio", options->borderRatio,
             "Change of the contrast B / A that makes a border between materials; 0: no such borders")
        .Accept([](double v) { return v == 0 || v > 1; }, "above 1, or 0")
        .ShowDefault()
        .Type("RATIO");
    command.OnRun([options] {
        RunPhase(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
