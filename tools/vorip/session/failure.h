#pragma once

#include <string>

#include "measure/error.h"

namespace vorip {

// How the program ends. These numbers stand in `vorip --help`.
enum ExitCode : int {
    kExitDone = 0,
    kExitUnexpected = 1,  // also a check of the demo that failed
    kExitBadInput = 2,
    kExitLowContrast = 3,  // this one and the next are answers of `vorip quality`
    kExitLowIntensity = 4,
    kExitNothingUsable = 5,
    kExitNotWritable = 6,
    kExitNoStandardOutput = 7,
    kExitSignalled = 128,  // plus the number of the signal, as shells report it
};

// Ends a command that has said everything on standard output, with an exit code that is part of its answer.
struct Verdict {
    int exitCode;
};

// Input or options that the program cannot work with.
[[noreturn]] inline void Refuse(const std::string& text) { throw measure::InputError(text); }

// The results of this run stand in files, and what it prints is only about them. It does not matter then if standard
// output cannot be written.
void ResultsAreInFiles();

// What is said where memory does not suffice.
std::string NotEnoughMemory();

// Runs the program; what it throws becomes one line on standard error and an exit code. The only place that knows
// which error has which code.
int ExitCodeOf(void (*program)(int argc, char** argv), int argc, char** argv);

}  // namespace vorip
