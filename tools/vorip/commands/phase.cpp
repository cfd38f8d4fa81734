#include <cstdio>

#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/phaseresult.h"
#include "tools/vorip/session/failure.h"
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
    "is estimated from the phase and, if it matters, corrected, unless the pixels see a few phases only, as where a\n"
    "period is a whole number of them; --ripple off leaves it.\n"
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

}  // namespace

int RunPhase(const PhaseOptions& options) {
    OutputSet outputs(options.out);
    Progress progress("vorip phase");
    const PhaseResult result = SolvePhase(options, outputs, progress);
    outputs.AddText("phase.json", SummaryOf("phase", result.entries));
    outputs.Commit();
    progress.End();
    std::fputs(result.report.c_str(), stdout);
    if (!result.IsUsable()) {
        std::puts(kHardlyAnything);
        return kExitNothingUsable;
    }
    for (const std::string& finding : result.quality.findings) Warn(finding);
    return kExitDone;
}

void AddPhaseCommand(CommandLine& program) {
    const auto options = std::make_shared<PhaseOptions>();
    Command& command = program.Add("phase", kAbout, kDetails);
    command.Add("FRAME", options->frames.frames, "Fringe pictures, in the order of their shifts").Required();
    command.Add("--out", options->out, "Folder for the results").Required().Type("DIR");
    AddFrameOptions(command, options->frames);
    AddLimitOptions(command, options->frames.limits);
    command.Add("--ripple", options->ripple, "Correction of fringes that are no sines")
        .OneOf({"auto", "off"})
        .ShowDefault();
    command.OnRun([options] {
        const int exitCode = RunPhase(*options);
        std::printf("written to %s\n", options->out.c_str());
        if (exitCode != kExitDone) throw Verdict{exitCode};
    });
}

}  // namespace vorip
