#include "tools/vorip/session/progress.h"

#include <chrono>
#include <cstdio>

#ifdef _WIN32
#  include <io.h>
namespace {
bool StderrIsTerminal() { return _isatty(2) != 0; }
}  // namespace
#else
#  include <unistd.h>
namespace {
bool StderrIsTerminal() { return isatty(2) != 0; }
}  // namespace
#endif

namespace vorip {

Progress::Progress(const std::string& command) : mCommand(command) {
    if (StderrIsTerminal()) mThread = std::thread([this] { Show(); });
}

Progress::~Progress() { End(); }

void Progress::End() {
    if (!mThread.joinable()) return;
    {
        const std::lock_guard lock(mMutex);
        mDone = true;
    }
    mWake.notify_one();
    mThread.join();
}

void Progress::Stage(const std::string& what) {
    const std::lock_guard lock(mMutex);
    mStage = what;
}

measure::Progress Progress::Watch() {
    if (!mInterrupt) mInterrupt.emplace();
    return [this](const char* stage, double share) {
        const int percent = static_cast<int>(100 * share);
        Stage(percent > 0 ? stage + (", " + std::to_string(percent)) + " %" : stage);
        return !mInterrupt->Noted();
    };
}

void Progress::Show() {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    bool shown = false;
    std::unique_lock lock(mMutex);
    for (auto next = start + std::chrono::seconds(1); !mWake.wait_until(lock, next, [this] { return mDone; });
         next += std::chrono::milliseconds(200)) {
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        std::fprintf(stderr, "\r\033[K%s: %s, %.0f s", mCommand.c_str(), mStage.c_str(), seconds);
        std::fflush(stderr);
        shown = true;
    }
    if (shown) std::fputs("\r\033[K", stderr);
}

}  // namespace vorip
