#include "tools/vorip/session/interrupt.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <thread>
#include <utility>
#include <vector>

#include "tools/vorip/session/disk.h"
#include "tools/vorip/session/failure.h"
#include "tools/vorip/session/terminal.h"

namespace vorip {
namespace {

constexpr int kEnding[] = {
    SIGINT,
    SIGTERM,
#ifdef SIGHUP
    SIGHUP,
#endif
};
constexpr int kErrorsOfWriting[] = {
#ifdef SIGPIPE
    SIGPIPE,
    SIGXFSZ,
#endif
    0,
};
constexpr auto kPause = std::chrono::milliseconds(20);

std::atomic<int> caught{0};  // signal; its handler may run on any thread
static_assert(std::atomic<int>::is_always_lock_free);
std::recursive_mutex gate;       // held by what must not be cut in two
std::vector<CleanUp*> cleanUps;  // the latest last
std::vector<std::function<void()>> lastWork;
bool lastWorkTakesLong = false;
std::mutex doneMutex;
std::condition_variable wake;
bool done = false;
std::thread watcher;

void Catch(int number) {
    std::signal(number, SIG_DFL);
    caught = number;
}

void Watch() {
    std::unique_lock lock(doneMutex);
    while (!wake.wait_for(lock, kPause, [] { return done; }))
        if (const int number = caught; number != 0) EndAtOnce("interrupted", kExitSignalled + number);
}

void RunLastWork() {
    for (const std::function<void()>& work : lastWork) {
        try {
            work();
        } catch (const std::exception&) {  // of memory; the next run does it
        }
    }
}

}  // namespace

void EndAtOnce(const std::string& notice, int exitCode) {
    const std::lock_guard whole(gate);
    std::for_each(cleanUps.rbegin(), cleanUps.rend(), [](const CleanUp* c) { c->Run(); });
    if (!lastWorkTakesLong || !RunInOtherProcess(RunLastWork)) RunLastWork();
    PrintLastNotice(notice);
    std::_Exit(exitCode);
}

InterruptWatch::InterruptWatch() {
    for (const int number : kErrorsOfWriting)
        if (number != 0) std::signal(number, SIG_IGN);
    try {
        watcher = std::thread(Watch);
    } catch (const std::exception&) {  // for lack of memory, too; signals end the program as they always do then
        return;
    }
    for (const int number : kEnding)
        if (std::signal(number, Catch) == SIG_IGN) std::signal(number, SIG_IGN);
}

InterruptWatch::~InterruptWatch() {
    {
        const std::lock_guard lock(doneMutex);
        done = true;
    }
    wake.notify_one();
    if (watcher.joinable()) watcher.join();
}

CleanUp::CleanUp(std::function<void()> undo) : mUndo(std::move(undo)) {
    const Uninterrupted whole;
    cleanUps.push_back(this);
}

CleanUp::~CleanUp() {
    const Uninterrupted whole;
    cleanUps.erase(std::find(cleanUps.begin(), cleanUps.end(), this));
}

void DoLast(std::function<void()> work, bool takesLong) {
    lastWork.push_back(std::move(work));
    lastWorkTakesLong = lastWorkTakesLong || takesLong;
}

Uninterrupted::Uninterrupted() : mLock(gate) {}

}  // namespace vorip
