#pragma once

namespace vorip {

// For as long as one of these objects lives, Ctrl-C (and being told to terminate, or to hang up) is noted instead of
// ending the program, so that a run can end without leaving anything behind. A second one ends the program at once.
// When the last object goes and nobody has checked, the program ends then. Signals that are ignored stay so, as Ctrl-C
// is in background jobs of scripts.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    // What an operation that can be aborted takes; it may lower the flag at its start.
    int* AbortFlag();
    // Whether there was a signal, whatever became of the flag. Who asks sees to it that the run ends.
    bool Noted() const;
    // Throws measure::Stopped when there was one.
    void Check() const;

    // The number of the signal that was noted last: exit codes tell it.
    static int LastSignal();
};

}  // namespace vorip
