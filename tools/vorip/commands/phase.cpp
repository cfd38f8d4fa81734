#include <cstdio>

#include "measure/fringequality.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/runs.h"
#include "tools/vorip/pictures/steprows.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/outputset.h"
#include "tools/vorip/session/progress.h"
#include "tools/vorip/session/warning.h"

namespace vorip {
namespace {

constexpr char kAbout[] = "The wrapped phase of three or more pictures of shifted fringes";
constexpr char kDetails[] =
    "FRAME is a picture, a folder, or a pattern in quotes. Folders and patterns are sorted by the numbers in the "
    "names\n"
    "(f2 before f10), pictures named one by one keep their order. Frame k is taken as I_k = A + B cos(phase + "
    "shift_k),\n"
    "with shift_k = 360 k / N degrees (k = 0, 1, ...) unless --shift says otherwise; A, B and the phase are found by\n"
    "least squares in every pixel.\n"
    "\n"
    "Fringes that are no sines, as projectors make them, leave a ripple in the phase. With 8 or more periods in view "
    "it\n"
    "is estimated from the phase and, if it matters, corrected; --ripple off leaves it.\n"
    "\n"
    "Writes phase.png (256 steps per period, 0 is phase 0), phase16.png (65,536 steps per period), modulation.png\n"
    "(8-bit: 255 x 2B / full scale), contrast.png (8-bit: 255 x B / A), mask.png (255 usable, 0 excluded) and\n"
    "phase.json. A pixel is excluded when it is too dark, saturated in any frame, or has too little modulation; the\n"
    "limits are in percent of full scale. vorip unwrap takes the folder.\n"
    "\n"
    "Exit codes: 0 done, 5 hardly anything is usable (the files are written all the same).\n"
    "\n"
    "Example:\n"
    "  vorip phase f0.png f1.png f2.png --shift=-120,0,120 --out result\n"
    "  vorip phase 'capture/fringe*.png' --out result";

constexpr double kHardlyAnything = 0.01;

cv::Mat ToBytes(const cv::Mat1f& values, double scale) {
    cv::Mat bytes;
    values.convertTo(bytes, CV_8U, scale);
    return bytes;
}

std::string Summary(const FrameInput& input, const measure::FringePhase& phase, const measure::Ripple& ripple,
                    bool corrected, const measure::FringeQuality& quality) {
    std::string shifts;
    for (const double shift : phase.shifts) {
        shifts += (shifts.empty() ? "" : ", ") + JsonNumber(shift * 180.0 / CV_PI);
    }
    return JsonObject({{"frames", JsonList(input.names)},
                       {"shifts_degrees", "[" + shifts + "]"},
                       {"width", std::to_string(phase.phase.cols)},
                       {"height", std::to_string(phase.phase.rows)},
                       {"full_scale", JsonNumber(phase.fullScale)},
                       {"usable_share", JsonNumber(quality.usable)},
                       {"saturated_share", JsonNumber(quality.saturated)},
                       {"modulation_share", JsonNumber(quality.modulation)},
                       {"noise", JsonNumber(quality.noise)},
                       {"residual_per_modulation", phase.residual.empty() ? "null" : JsonNumber(quality.residual)},
                       {"ripple", RippleJson(ripple)},
                       {"ripple_corrected", JsonTruth(corrected)}});
}

}  // namespace

int RunPhase(const PhaseOptions& options) {
    OutputSet outputs(options.out);
    Progress line("vorip phase");
    line.Stage("reading");
    const FrameInput input = ReadFrames(options.frames);
    const cv::Mat& frame = input.set.frames.front();
    AnnounceMemory(frame.size(), static_cast<double>(input.set.frames.size() * frame.elemSize()) + 36);
    const measure::Progress progress = line.Watch();
    measure::FringePhase phase = measure::SolveFringes(input.set, input.limits, progress);
    // These are written while the others are computed.
    outputs.AddImage("modulation.png", ToBytes(phase.modulation, 2.0 * 255.0 / phase.fullScale));
    outputs.AddImage("contrast.png", ToBytes(measure::FringeContrast(phase), 255.0));
    outputs.AddImage("mask.png", phase.usable);
    const measure::Ripple ripple = measure::EstimateRipple(phase, progress);
    // Of the ripple the report speaks.
    const measure::FringeQuality quality = measure::AssessFringes(input.set, phase, {});
    const bool corrected = options.ripple == "auto" && ripple.IsWorthCorrecting();
    if (corrected) measure::CorrectRipple(phase, ripple, progress);
    line.Stage("writing");
    const PhaseSteps images = ToSteps(phase.phase);
    outputs.AddImage("phase16.png", images.fine);
    outputs.AddImage("phase.png", images.steps);
    outputs.AddText("phase.json", Summary(input, phase, ripple, corrected, quality));
    outputs.Commit();
    line.End();

    const std::string about = ripple.known
                                  ? cv::format("ripple %.3f rad%s", ripple.amplitude, corrected ? ", corrected" : "")
                                  : "ripple unknown (too few periods in view)";
    std::printf("phase: %zu frames of %d x %d pixels, %.1f %% usable, %s\n", input.set.frames.size(), phase.usable.cols,
                phase.usable.rows, 100.0 * quality.usable, about.c_str());
    if (quality.verdict != measure::FringeVerdict::eGood && quality.usable >= kHardlyAnything) {
        for (const std::string& finding : quality.findings) Warn(finding);
    }
    if (quality.usable >= kHardlyAnything) return kExitDone;
    std::printf("hardly anything is usable: too dark or saturated, or the fringes do not move from frame to frame\n");
    return kExitNothingUsable;
}

void AddPhaseCommand(CommandLine& program) {
    const auto options = std::make_shared<PhaseOptions>();
    Command& command = program.Add("phase", kAbout, kDetails);
    command.Add("FRAME", options->frames.frames, "Fringe pictures, in the order of their shifts").Required();
    command.Add("--out", options->out, "Folder for the results").Required().Type("DIR");
    AddFrameOptions(command, options->frames);
    AddLimitOptions(command, options->frames);
    command.Add("--ripple", options->ripple, "Correction of fringes that are no sines: auto or off")
        .OneOf({"auto", "off"})
        .ShowDefault()
        .Type("WHEN");
    command.OnRun([options] {
        const int exitCode = RunPhase(*options);
        std::printf("written to %s\n", options->out.c_str());
        if (exitCode != kExitDone) throw Verdict{exitCode};
    });
}

}  // namespace vorip
