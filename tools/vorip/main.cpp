#include <cstdlib>
#include <exception>
#include <new>
#include <opencv2/core/utils/logger.hpp>

#include "tools/vorip/cli/commandline.h"
#include "tools/vorip/commands/commands.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/interrupt.h"

namespace {

using AddCommand = void (*)(vorip::CommandLine&);
// The main way first, then what works on any picture.
constexpr AddCommand kCommands[] = {
    vorip::AddMeasureCommand, vorip::AddDecodeCommand,  vorip::AddCalibrateCommand, vorip::AddPointsCommand,
    vorip::AddQualityCommand, vorip::AddPhaseCommand,   vorip::AddUnwrapCommand,    vorip::AddSurfaceCommands,
    vorip::AddPictureCommand, vorip::AddFlattenCommand, vorip::AddGradientCommand,  vorip::AddAverageCommand,
    vorip::AddShadeCommand,   vorip::AddFilterCommand,  vorip::AddRegionsCommand,   vorip::AddGeometryCommand,
    vorip::AddEdgesCommand,   vorip::AddColoursCommand, vorip::AddDemoCommand,
};

constexpr char kAbout[] =
    "From pictures of projected fringes to phase, positions and shape.\n"
    "Pictures are 8- or 16-bit PNG, TIFF or BMP (colour becomes grey), float TIFF, or NPY arrays; JPEG,\n"
    "too, whose losses are noise in a phase.";
constexpr char kFooter[] =
    "A first run:  vorip demo --out demo\n"
    "One command:  vorip help COMMAND\n"
    "\n"
    "Exit codes\n"
    "    0  done\n"
    "    1  something unexpected happened, or a check of the demo failed\n"
    "    2  wrong input or options, or more memory needed than the run may take\n"
    "    3  vorip quality: low contrast\n"
    "    4  vorip quality: low contrast because of low intensity\n"
    "    5  nothing usable in the input: all dark, saturated or masked\n"
    "    6  an output cannot be written\n"
    "    7  standard output cannot be written, and what is printed is the result\n"
    "  129  the terminal was closed\n"
    "  130  interrupted (Ctrl-C)\n"
    "  143  told to terminate";

void Run(int argc, char** argv) {
    vorip::CommandLine program(argc, argv, kAbout, kFooter);
    for (const AddCommand add : kCommands) add(program);
    program.Run();
}

// Libraries that allocate where nothing may be thrown, as nlohmann-json does to destroy an array, end up here.
[[noreturn]] void EndWithoutMemory() {
    try {
        if (const std::exception_ptr error = std::current_exception()) std::rethrow_exception(error);
    } catch (const std::bad_alloc&) {
        vorip::EndAtOnce(vorip::NotEnoughMemory(), vorip::kExitBadInput);
    } catch (...) {
    }
    std::abort();
}

}  // namespace

int main(int argc, char** argv) {
    std::set_terminate(EndWithoutMemory);
    const vorip::InterruptWatch watch;
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    return vorip::ExitCodeOf(Run, argc, argv);
}
