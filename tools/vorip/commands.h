#pragma once

#include <CLI/CLI.hpp>
#include <cmath>
#include <string>

namespace vorip {

// Accepts the numbers for which `accepts` is true; `rule` says in words which ones those are.
template <class Accepts>
CLI::Validator NumberThat(Accepts accepts, const std::string& rule) {
    const auto check = [accepts, rule](std::string& text) {
        double number = 0;
        const bool valid = CLI::detail::lexical_cast(text, number) && std::isfinite(number) && accepts(number);
        return valid ? std::string() : "'" + text + "' must be " + rule;
    };
    return CLI::Validator(check, "");
}

// Each command adds its subcommand, with options, help and callback, to the program. A new command is one source file
// with such a function, and one line in the table in main.cpp.
void AddPhaseCommand(CLI::App& program);
void AddUnwrapCommand(CLI::App& program);
void AddAverageCommand(CLI::App& program);
void AddGradientCommand(CLI::App& program);
void AddFlattenCommand(CLI::App& program);
void AddQualityCommand(CLI::App& program);
void AddRegionsCommand(CLI::App& program);
void AddShadeCommand(CLI::App& program);
void AddFilterCommand(CLI::App& program);
void AddDemoCommand(CLI::App& program);

}  // namespace vorip
