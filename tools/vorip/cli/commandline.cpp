#include "tools/vorip/cli/commandline.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <type_traits>
#include <utility>

#include "imagemodel/version.h"
#include "tools/vorip/cli/parse.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/staging.h"

namespace vorip {
namespace {

constexpr int kHelpColumn = 34;

using Words = std::vector<std::string>;

Words CommandsOf(const CLI::App& app) {
    Words names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        names.push_back(command->get_name());
    return names;
}

Words OptionsOf(const CLI::App& app) {
    Words names;
    for (const CLI::Option* option : app.get_options())
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    return names;
}

bool IsOneOf(const Words& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

// "a, b or c".
std::string Listed(const Words& words) {
    std::string list;
    for (std::size_t i = 0; i < words.size(); ++i)
        list += (i == 0 ? "" : i + 1 < words.size() ? ", " : " or ") + words[i];
    return list;
}

// How many letters must be put in, left out or changed to get from one word to another.
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t before = row[0]++;  // of the row above, one to the left
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t changed = before + (from[i] != to[j]);
            before = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, before + 1});
        }
    }
    return row.back();
}

std::string Suggestion(const std::string& word, const Words& known) {
    constexpr std::size_t kMostSlips = 2;
    const auto nearest = std::min_element(known.begin(), known.end(), [&](const auto& a, const auto& b) {
        return Distance(word, a) < Distance(word, b);
    });
    return nearest != known.end() && Distance(word, *nearest) <= kMostSlips ? ", do you mean '" + *nearest + "'?" : "";
}

const CLI::App& ChosenCommand(const CLI::App& program, std::string& name) {
    const CLI::App* app = &program;
    name = "vorip";
    for (auto chosen = app->get_subcommands(); !chosen.empty(); chosen = app->get_subcommands()) {
        app = chosen.front();
        name += " " + app->get_name();
    }
    return *app;
}

// What is wrong about the words of a command. A mistyped option comes first: what it stands for is then missing.
std::string InWords(const CLI::ParseError& error, const CLI::App& command) {
    const Words rest = command.remaining();
    for (const std::string& word : rest) {
        const std::string name = word.substr(0, word.find('='));
        if (name.size() > 1 && name[0] == '-')
            return "there is no option '" + name + "'" + Suggestion(name, OptionsOf(command));
    }
    const std::string text = error.what();
    if (!rest.empty()) return "'" + rest.front() + "' is one word too many";
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
        const bool isTooMuch = text.find("At Most") != std::string::npos;
        return text.substr(0, text.find(':')) + (isTooMuch ? " is given more than once" : " needs a value after it");
    }
    return text;
}

// The outputs of all commands have the same short name.
std::string WithShortName(const std::string& name) { return name == "--out" ? "-o,--out" : name; }

std::string RefuseEmpty(const std::string& text) {
    return text.empty() ? "the value is empty; leave the option out where it shall have none" : "";
}

std::string RefuseHidden(const std::string& out) {
    if (!Staging::IsHidden(out)) return "";
    return "'" + out + "': names that begin with .vorip- are those of vorip's own hidden folders; use another one";
}

// `help COMMAND` is `COMMAND --help`, `help` alone `--help`.
Words WordsOf(int argc, const char* const* argv) {
    Words words(argv + std::min(argc, 1), argv + argc);
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
    if (mOption) mOption->required();
    return *this;
}

Option& Option::Type(const std::string& word) {
    if (mOption) mOption->type_name(word);
    return *this;
}

Option& Option::ShowDefault() {
    if (mOption) mOption->capture_default_str();
    return *this;
}

Option& Option::Accept(const std::function<bool(double)>& accepts, const std::string& rule) {
    if (!mOption) return *this;
    mOption->check(CLI::Validator(
        [accepts, rule](const std::string& text) {
            double number = 0;
            const bool valid = CLI::detail::lexical_cast(text, number) && std::isfinite(number) && accepts(number);
            return valid ? std::string() : "'" + text + "' must be " + rule;
        },
        ""));
    return *this;
}

Option& Option::AboveZero() {
    return Accept([](double v) { return v > 0; }, "a number above 0");
}

template <class Integer>
Option& Option::Whole() {
    if (!mOption) return *this;
    mOption->check(CLI::Validator(
        [](const std::string& text) {
            Integer number{};
            return CLI::detail::lexical_cast(text, number) ? std::string() : "'" + text + "' must be a whole number";
        },
        ""));
    return *this;
}

Option& Option::Between(double least, double most, const std::string& rule) {
    return Accept([least, most](double v) { return v >= least && v <= most; },
                  rule.empty() ? Number(least) + " to " + Number(most) : rule);
}

Option& Option::OneOf(const std::vector<std::string>& words) {
    if (!mOption) return *this;
    std::string type;
    for (const std::string& word : words) type += (type.empty() ? "" : "|") + word;
    mOption->type_name(type);
    mOption->check(CLI::Validator(
        [words](const std::string& text) {
            if (IsOneOf(words, text)) return std::string();
            return "'" + text + "' must be " + Listed(words) + Suggestion(text, words);
        },
        ""));
    return *this;
}

template <class Value>
Option Command::Make(const std::string& name, Value& value, const std::string& help) {
    if (!mIsRun) return Option(nullptr);
    CLI::Option* const option = mApp.add_option(WithShortName(name), value, help);
    if (name == "--out") option->check(CLI::Validator(RefuseHidden, ""));
    const bool isText = !std::is_arithmetic_v<Value>;
    if (isText && name[0] == '-') option->check(CLI::Validator(RefuseEmpty, ""));
    return Option(option);
}

Option Command::Add(const std::string& name, std::string& value, const std::string& help) {
    return Make(name, value, help).Type("");
}
Option Command::Add(const std::string& name, std::vector<std::string>& values, const std::string& help) {
    return Make(name, values, help).Type("");
}
Option Command::Add(const std::string& name, int& value, const std::string& help) {
    return Make(name, value, help).Whole<int>();
}
Option Command::Add(const std::string& name, unsigned int& value, const std::string& help) {
    return Make(name, value, help).Whole<unsigned int>();
}
Option Command::Add(const std::string& name, double& value, const std::string& help) {
    return Make(name, value, help).Accept([](double) { return true; }, "a number");
}

void Command::AddFlag(const std::string& name, bool& value, const std::string& help) {
    if (mIsRun) mApp.add_flag(name, value, help);
}

void Command::OnRun(const std::function<void()>& run) {
    Add("--max-memory", mMaxMemory, "Memory that the run may take, as in 4G [three quarters of what is free]")
        .Type("SIZE");
    mApp.callback([this, run] {
        MemoryLimit::Set(IsGiven("--max-memory") ? ParseMemory(mMaxMemory) : 0, mName);
        run();
    });
}

// CLI::App::get_option would end the program where memory does not suffice: it promises not to throw, and allocates.
bool Command::IsGiven(const std::string& name) const {
    for (const CLI::Option* const option : std::as_const(mApp).get_options())
        if (option->check_name(name)) return option->count() > 0;
    throw CLI::OptionNotFound(name);
}

void Command::RefuseGiven(const std::vector<std::string>& names, const std::string& why) const {
    for (const std::string& name : names)
        if (IsGiven(name)) Refuse(name + " " + why);
}

CommandLine::CommandLine(int argc, const char* const* argv, const std::string& about, const std::string& footer)
    : mWords(WordsOf(argc, argv)), mApp(std::make_unique<CLI::App>(about, "vorip")) {
    mApp->footer(footer);
    mApp->set_version_flag("--version", "vorip " VORIPBASE_VERSION_STRING);
    mApp->require_subcommand(1);
    const auto formatter = mApp->get_formatter();
    formatter->column_width(kHelpColumn);
    for (const auto& [word, better] : {std::pair("SUBCOMMAND", "COMMAND"),
                                       {"Subcommands", "Commands"},
                                       {"Positionals", "Arguments"},
                                       {"REQUIRED", "(required)"}})
        formatter->label(word, better);
}

CommandLine::~CommandLine() = default;

Command& CommandLine::Add(const std::string& name, const std::string& about, const std::string& details) {
    const auto space = name.find(' ');
    CLI::App* const parent = space == std::string::npos ? mApp.get() : mApp->get_subcommand(name.substr(0, space));
    CLI::App* const app = parent->add_subcommand(name.substr(space + 1), about);  // npos + 1 is 0
    parent->require_subcommand(1);
    app->footer(details)->group("Commands");
    const auto chosen = std::find_if(mWords.begin(), mWords.end(), [](const auto& w) { return w.substr(0, 1) != "-"; });
    const bool isRun = chosen != mWords.end() && *chosen == name.substr(0, space);
    mCommands.push_back(std::make_unique<Command>(*app, name, isRun));
    return *mCommands.back();
}

void CommandLine::Run() {
    if (mWords.empty()) {
        std::fputs(mApp->help().c_str(), stderr);
        throw Verdict{kExitBadInput};
    }
    const std::string& first = mWords.front();
    if (first[0] == '-' && !IsOneOf({"-h", "--help", "--version"}, first))
        Refuse("'" + first + "' stands before the command; options stand after it (try vorip --help)");
    const CLI::App* within = mApp.get();
    std::string before = "vorip ";
    for (const std::string& word : mWords) {
        const Words commands = CommandsOf(*within);
        if (word.empty() || word[0] == '-' || commands.empty()) break;
        if (!IsOneOf(commands, word))
            Refuse("there is no command '" + before.substr(6) + word + "'" + Suggestion(word, commands) + " (try " +
                   before + "--help)");
        within = within->get_subcommand(word);
        before += word + " ";
    }
    try {
        mApp->parse(Words(mWords.rbegin(), mWords.rend()));  // the parser takes them from the end
    } catch (const CLI::Success& request) {                  // --help and --version
        mApp->exit(request);
    } catch (const CLI::ParseError& error) {
        std::string name;
        const CLI::App& command = ChosenCommand(*mApp, name);
        const bool isGroup = !CommandsOf(command).empty();
        Refuse((isGroup ? name + " needs a command after it" : InWords(error, command)) + " (try " + name + " --help)");
    }
}

}  // namespace vorip
