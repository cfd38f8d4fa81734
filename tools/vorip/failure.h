#pragma once

#include <stdexcept>
#include <string>

namespace vorip {

// What ends a command: one line for standard error and the exit code of the program.
class Failure : public std::runtime_error {
public:
    Failure(int exitCode, const std::string& text) : std::runtime_error(text), mExitCode(exitCode) {}
    int ExitCode() const { return mExitCode; }

private:
    int mExitCode;
};

// Ends a command that has said everything on standard output, with an exit code that is part of its answer.
struct Verdict {
    int exitCode;
};

inline constexpr int kExitCheckFailed = 1;
inline constexpr int kExitBadInput = 2;
inline constexpr int kExitSignalled = 128;  // plus the number of the signal, as shells report it

// Input, options or an output folder that the program cannot work with.
[[noreturn]] inline void Refuse(const std::string& text) { throw Failure(kExitBadInput, text); }

}  // namespace vorip
