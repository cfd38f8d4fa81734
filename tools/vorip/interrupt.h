#pragma once

namespace vorip {

// For as long as one of these objects lives, Ctrl-C is noted instead of ending the program, so that a run can end
// without leaving anything behind. A second Ctrl-C ends the program at once. When the last object goes and nobody has
// checked, the program ends then. Nothing changes where Ctrl-C is ignored, as in background jobs of scripts.
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
};

}  // namespace vorip
