#include <ipbase/voripbase.h>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <opencv2/core.hpp>
#include <opencv2/core/utils/logger.hpp>

#include "tools/vorip/commands.h"
#include "tools/vorip/failure.h"

namespace {

using AddCommand = void (*)(CLI::App&);
constexpr AddCommand kCommands[] = {
    vorip::AddPhaseCommand,   vorip::AddUnwrapCommand,  vorip::AddAverageCommand, vorip::AddGradientCommand,
    vorip::AddFlattenCommand, vorip::AddQualityCommand, vorip::AddRegionsCommand, vorip::AddShadeCommand,
    vorip::AddFilterCommand,  vorip::AddDemoCommand,
};

constexpr char kAbout[] =
    "From fringe pictures to an unwrapped phase.\n"
    "Pictures are 8- or 16-bit PNG, TIFF or BMP (colour becomes grey), float TIFF, or NPY arrays.";
constexpr char kFooter[] =
    "A first run:  vorip demo --out demo\n"
    "Exit codes:   0 done, 1 a check of the demo failed or something unexpected happened, 2 wrong input or options,\n"
    "              130 interrupted; vorip quality also answers by 3 and 4.";

// The errors of the program are one line each.
int Complain(std::string text, int exitCode) {
    for (char& c : text) {
        if (c == '\n' || c == '\r') c = ' ';
    }
    while (!text.empty() && text.back() == ' ') text.pop_back();
    std::fprintf(stderr, "vorip: %s\n", text.c_str());
    return exitCode;
}

bool HasCommand(const CLI::App& program, const std::string& name) {
    const auto commands = program.get_subcommands([](const CLI::App*) { return true; });
    return std::any_of(commands.begin(), commands.end(), [&](const auto* c) { return c->get_name() == name; });
}

int Run(int argc, char** argv) {
    CLI::App program(kAbout, "vorip");
    program.footer(kFooter);
    program.set_version_flag("--version", "vorip 3.8.0");
    for (const AddCommand add : kCommands) add(program);
    program.require_subcommand(1);
    program.get_formatter()->column_width(34);
    if (argc < 2) {
        std::fputs(program.help().c_str(), stderr);
        return vorip::kExitBadInput;
    }
    const std::string first = argv[1];
    if (first.empty() || (first[0] != '-' && !HasCommand(program, first))) {
        return Complain("there is no command '" + first + "' (try vorip --help)", vorip::kExitBadInput);
    }
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& request) {  // --help and --version
        return program.exit(request);
    } catch (const CLI::ParseError& error) {
        const auto chosen = program.get_subcommands();
        const std::string command = chosen.empty() ? "vorip" : "vorip " + chosen.front()->get_name();
        return Complain(std::string(error.what()) + " (try " + command + " --help)", vorip::kExitBadInput);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    try {
        return Run(argc, argv);
    } catch (const vorip::Verdict& verdict) {
        return verdict.exitCode;
    } catch (const vorip::Failure& failure) {
        return Complain(failure.what(), failure.ExitCode());
    } catch (KrN::KrException* thrown) {
        const std::unique_ptr<KrN::KrException> error(thrown);
        return Complain(error->GetText().ToUtf8(), 1);
    } catch (const std::bad_alloc&) {
        return Complain("not enough memory", 1);
    } catch (const cv::Exception& error) {
        return Complain(error.code == cv::Error::StsNoMem ? "not enough memory" : error.what(), 1);
    } catch (const std::exception& error) {
        return Complain(error.what(), 1);
    }
}
