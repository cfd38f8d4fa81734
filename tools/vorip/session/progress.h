#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

#include "measure/progress.h"

namespace vorip {

// A line on standard error that says what a run is doing, for how long, and how long it will still take where that can
// be told. It shows only on a terminal and only from the second second on, and is wiped at the end.
class Progress {
public:
    explicit Progress(const std::string& command);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // What is being done, and which share of it is done, 0 to 1; 0 where nobody knows.
    void Stage(const std::string& what, double share = 0);
    // What operations of measure/ report to. Of no use beyond this object's life.
    measure::Progress Watch();
    // For parts of a run that do not have its object, of which there is at most one at a time; without one these do
    // nothing. The share is that of the stage.
    static measure::Progress WatchOfRun();
    static void ShareOfRun(double share);
    void End();  // before anything else is printed

private:
    using Clock = std::chrono::steady_clock;

    void SetShare(double share);
    void Show();
    std::string Line(Clock::time_point now) const;

    const std::string mCommand;
    const Clock::time_point mStart = Clock::now();
    std::string mStage;
    double mShare = 0;
    Clock::time_point mZero = mStart;  // when the share was 0
    bool mDone = false;
    std::mutex mMutex;
    std::condition_variable mWake;
    std::thread mThread;

    static Progress* mOfRun;
};

}  // namespace vorip
