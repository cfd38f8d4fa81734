#pragma once

#include <CLI/CLI.hpp>

namespace vorip {

// Each command adds its subcommand, with options, help and callback, to the program. A new command is one source file
// with such a function, and one line in the table in main.cpp.
void AddPhaseCommand(CLI::App& program);
void AddUnwrapCommand(CLI::App& program);
void AddDemoCommand(CLI::App& program);

}  // namespace vorip
