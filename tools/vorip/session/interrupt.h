#pragma once

#include <functional>
#include <mutex>
#include <string>

namespace vorip {

// For as long as this object lives, which is the whole run, Ctrl-C (and being told to terminate, or to hang up) ends
// the program within a tenth of a second, whatever it is doing: a thread notices it, runs the clean-ups and ends the
// process with 128 plus the number of the signal. A second one ends it at once. Signals that are ignored stay so, as
// Ctrl-C is in background jobs of scripts. A pipe that is closed and a file that grows too large become errors of
// writing.
class InterruptWatch {
public:
    InterruptWatch();
    ~InterruptWatch();
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;
};

// Runs the clean-ups, says why and ends the process.
[[noreturn]] void EndAtOnce(const std::string& notice, int exitCode);

// What an interruption has to undo, for as long as this object lives. Any thread may call it.
class CleanUp {
public:
    explicit CleanUp(std::function<void()> undo);
    ~CleanUp();
    CleanUp(const CleanUp&) = delete;
    CleanUp& operator=(const CleanUp&) = delete;

    void Run() const { mUndo(); }

private:
    std::function<void()> mUndo;
};

// What a clean-up leaves to be done when all of them have run, one after the other; by another process if it takes long
// to do so, for nobody waits for it.
void DoLast(std::function<void()> work, bool takesLong);

// An interruption waits until this object is gone: for short steps that belong together.
class Uninterrupted {
public:
    Uninterrupted();

private:
    std::unique_lock<std::recursive_mutex> mLock;
};

}  // namespace vorip
