#pragma once

namespace vorip {

// Catches Ctrl-C for as long as the object lives, so that a run can end without leaving anything behind. A second
// Ctrl-C ends the program at once. There is one such object at a time.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    // What an operation that can be aborted takes; it may lower the flag at its start.
    int* AbortFlag();
    // Ends the command with exit code 130 when Ctrl-C was pressed, whatever became of the flag.
    void Check() const;

private:
    void (*mPrevious)(int);
};

}  // namespace vorip
