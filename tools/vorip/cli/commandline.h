#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace vorip {

// The command line of the program, as the commands declare it; the parser behind it is included in one unit only.

// An option of a command, or one of the words after the command's name.
class Option {
public:
    explicit Option(CLI::Option* option) : mOption(option) {}  // null: of a command that is not run

    Option& Required();
    // The word that stands for the value in the help, as in "--out DIR".
    Option& Type(const std::string& word);
    // The help shows the value that the variable has now.
    Option& ShowDefault();
    // Takes only whole numbers that a variable of this type can hold.
    template <class Integer>
    Option& Whole();
    // Takes only numbers for which `accepts` is true; `rule` says which those are: "'-1' must be `rule`".
    Option& Accept(const std::function<bool(double)>& accepts, const std::string& rule);
    Option& AboveZero();
    // Takes only numbers from `least` to `most`; without a rule the text is "`least` to `most`".
    Option& Between(double least, double most, const std::string& rule = "");
    // Takes only one of these words.
    Option& OneOf(const std::vector<std::string>& words);

private:
    CLI::Option* mOption;
};

// A command of the program. What a run shall know is declared here and arrives in the variables before the run.
class Command {
public:
    // Only a command that is run needs options: to make those of all commands would take longer than to load libraries.
    Command(CLI::App& app, const std::string& name, bool isRun) : mApp(app), mName(name), mIsRun(isRun) {}

    // Names are "--size" or, for a word that stands alone, "IN"; several names are separated by commas.
    // An empty text is refused after an option: most often it is that of a variable that was not set.
    Option Add(const std::string& name, std::string& value, const std::string& help);
    Option Add(const std::string& name, std::vector<std::string>& values, const std::string& help);
    Option Add(const std::string& name, int& value, const std::string& help);
    Option Add(const std::string& name, unsigned int& value, const std::string& help);
    Option Add(const std::string& name, double& value, const std::string& help);
    void AddFlag(const std::string& name, bool& value, const std::string& help);

    // What runs once all options, which have been added before, are in their variables.
    void OnRun(const std::function<void()>& run);
    // Whether the option was given; to be asked during the run.
    bool IsGiven(const std::string& name) const;
    // Refuses those options, "NAME why": they would have no effect, which nobody would notice.
    void RefuseGiven(const std::vector<std::string>& names, const std::string& why) const;

private:
    template <class Value>
    Option Make(const std::string& name, Value& value, const std::string& help);

    CLI::App& mApp;
    const std::string mName;  // "filter", "surface level"
    const bool mIsRun;
    std::string mMaxMemory;  // an option of every command
};

class CommandLine {
public:
    // `about` stands before the lists of the help, `footer` after them.
    CommandLine(int argc, const char* const* argv, const std::string& about, const std::string& footer);
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    // A command with one line about it and the details that its help ends with. The reference stays valid. A name of
    // two words, as in "surface level", is a command within the one that was added as "surface" before.
    Command& Add(const std::string& name, const std::string& about, const std::string& details);

    // Runs the command that the arguments name, or prints the help that they ask for. Throws measure::InputError for
    // arguments that it does not understand.
    void Run();

private:
    const std::vector<std::string> mWords;  // the arguments
    std::unique_ptr<CLI::App> mApp;
    std::vector<std::unique_ptr<Command>> mCommands;
};

}  // namespace vorip
