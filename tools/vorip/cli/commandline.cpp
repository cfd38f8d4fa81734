#include "tools/vorip/cli/commandline.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "imagemodel/version.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"

namespace vorip {
namespace {

constexpr int kHelpColumn = 34;

bool HasCommand(const CLI::App& program, const std::string& name) {
    const auto commands = program.get_subcommands([](const CLI::App*) { return true; });
    return std::any_of(commands.begin(), commands.end(), [&](const auto* c) { return c->get_name() == name; });
}

std::string ChosenCommand(const CLI::App& program) {
    std::string name = "vorip";
    for (auto chosen = program.get_subcommands(); !chosen.empty(); chosen = chosen.front()->get_subcommands())
        name += " " + chosen.front()->get_name();
    return name;
}

// The outputs of all commands have the same short name.
std::string WithShortName(const std::string& name) { return name == "--out" ? "-o,--out" : name; }

// `help COMMAND` is `COMMAND --help`, `help` alone `--help`.
std::vector<std::string> Words(int argc, const char* const* argv) {
    std::vector<std::string> words(argv + 1, argv + argc);
    if (!words.empty() && words.front() == "help") {
        words.erase(words.begin());
        words.emplace_back("--help");
    }
    return words;
}

std::string Number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

}  // namespace

Option& Option::Required() {
    mOption.required();
    return *this;
}

Option& Option::Type(const std::string& word) {
    mOption.type_name(word);
    return *this;
}

Option& Option::ShowDefault() {
    mOption.capture_default_str();
    return *this;
}

Option& Option::Accept(const std::function<bool(double)>& accepts, const std::string& rule) {
    mOption.check(CLI::Validator(
        [accepts, rule](const std::string& text) {
            double number = 0;
            const bool valid = CLI::detail::lexical_cast(text, number) && std::isfinite(number) && accepts(number);
            return valid ? std::string() : "'" + text + "' must be " + rule;
        },
        ""));
    return *this;
}

Option& Option::Between(double least, double most, const std::string& rule) {
    return Accept([least, most](double v) { return v >= least && v <= most; },
                  rule.empty() ? Number(least) + " to " + Number(most) : rule);
}

Option& Option::OneOf(const std::vector<std::string>& words) {
    mOption.check(CLI::IsMember(words).description(""));
    return *this;
}

Option Command::Add(const std::string& name, std::string& value, const std::string& help) {
    return Option(*mApp.add_option(WithShortName(name), value, help));
}
Option Command::Add(const std::string& name, std::vector<std::string>& values, const std::string& help) {
    return Option(*mApp.add_option(WithShortName(name), values, help));
}
Option Command::Add(const std::string& name, int& value, const std::string& help) {
    return Option(*mApp.add_option(WithShortName(name), value, help));
}
Option Command::Add(const std::string& name, unsigned int& value, const std::string& help) {
    return Option(*mApp.add_option(WithShortName(name), value, help));
}
Option Command::Add(const std::string& name, double& value, const std::string& help) {
    return Option(*mApp.add_option(WithShortName(name), value, help));
}

void Command::AddFlag(const std::string& name, bool& value, const std::string& help) {
    mApp.add_flag(name, value, help);
}

void Command::OnRun(const std::function<void()>& run) {
    Add("--max-memory", mMaxMemory, "Memory that the run may take, as in 4G [three quarters of what is free]")
        .Type("SIZE");
    mApp.callback([this, run] {
        MemoryLimit::Set(mMaxMemory);
        run();
    });
}

bool Command::IsGiven(const std::string& name) const { return mApp.get_option(name)->count() > 0; }

CommandLine::CommandLine(const std::string& about, const std::string& footer)
    : mApp(std::make_unique<CLI::App>(about, "vorip")) {
    mApp->footer(footer);
    mApp->set_version_flag("--version", "vorip " VORIPBASE_VERSION_STRING);
    mApp->require_subcommand(1);
    mApp->get_formatter()->column_width(kHelpColumn);
}

CommandLine::~CommandLine() = default;

Command& CommandLine::Add(const std::string& name, const std::string& about, const std::string& details) {
    const auto space = name.find(' ');
    CLI::App* const parent = space == std::string::npos ? mApp.get() : mApp->get_subcommand(name.substr(0, space));
    CLI::App* const app = parent->add_subcommand(name.substr(space + 1), about);  // npos + 1 is 0
    parent->require_subcommand(1);
    app->footer(details);
    mCommands.push_back(std::make_unique<Command>(*app));
    return *mCommands.back();
}

void CommandLine::Run(int argc, const char* const* argv) {
    if (argc < 2) {
        std::fputs(mApp->help().c_str(), stderr);
        throw Verdict{kExitBadInput};
    }
    std::vector<std::string> words = Words(argc, argv);
    const CLI::App* within = mApp.get();
    std::string before = "vorip ";
    for (const std::string& word : words) {
        if (word[0] == '-' || within->get_subcommands([](const CLI::App*) { return true; }).empty()) break;
        if (!HasCommand(*within, word))
            Refuse("there is no command '" + before.substr(6) + word + "' (try " + before + "--help)");
        within = within->get_subcommand(word);
        before += word + " ";
    }
    try {
        std::reverse(words.begin(), words.end());  // the parser takes them from the end
        mApp->parse(words);
    } catch (const CLI::Success& request) {  // --help and --version
        mApp->exit(request);
    } catch (const CLI::ParseError& error) {
        Refuse(std::string(error.what()) + " (try " + ChosenCommand(*mApp) + " --help)");
    }
}

}  // namespace vorip
