#include <cstdio>
#include <string>

#include "measure/scan.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/commands/decoding.h"
#include "tools/vorip/session/failure.h"
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
    "columns_reliability.png (255 certain; see the guide), columns_picture.png (colours, invalid pixels hatched in "
    "grey, jumps\n"
    "magenta: neighbours more than half a period apart, by wrong orders or a step of the surface); besides\n"
    "modulation.png (255 x 2B / full scale) and summary.json. A pixel is valid only where every set is: not too dark,\n"
    "unsaturated, modulated; the limits are in percent of full scale.\n"
    "\n"
    "Exit codes: 0 done; 2 wrong input, or pictures that do not fit to the description or to each other; 5 hardly\n"
    "anything is usable. After 2 and 5 nothing is written.\n"
    "\n"
    "Example:\n"
    "  vorip decode scan.json --frames part17 --out result";

}  // namespace

void RunDecode(const DecodeOptions& options) {
    OutputSet outputs(options.out);
    Progress progress("vorip decode");
    const DecodedScan scan = DecodeScan(options, outputs, progress);
    outputs.AddText("summary.json", SummaryOf("decode", scan.entries));
    outputs.Commit();
    progress.End();
    for (const std::string& warning : scan.warnings) Warn(warning);
    for (const std::string& warning : scan.notes) Warn(warning);
    if (!scan.exchanged.empty()) Warn(scan.exchanged);
    std::fputs(scan.report.c_str(), stdout);
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
    AddLimitOptions(command, options->limits);
    command.AddFlag("--example", *example, "Print a description with comments, and nothing else");
    command.OnRun([options, example, &command] {
        if (*example) {
            command.RefuseGiven({"--frames", "--out"}, "does nothing beside --example, which prints a description");
            std::fputs(measure::ExampleScan().c_str(), stdout);
            return;
        }
        if (options->scan.empty() || options->out.empty())
            Refuse("decode needs a description and --out DIR; 'vorip decode --example' prints a description");
        RunDecode(*options);
        std::printf("written to %s\n", options->out.c_str());
    });
}

}  // namespace vorip
