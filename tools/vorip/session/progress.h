#pragma once

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "measure/progress.h"
#include "tools/vorip/session/interrupt.h"

namespace vorip {

// A line on standard error that says what a run is doing and for how long. It shows only on a terminal and only from
// the second second on, and is wiped at the end.
class Progress {
public:
    explicit Progress(const std::string& command);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Stage(const std::string& what);
    // What operations of measure/ report to: it shows their stages, and how far they are, and from now on Ctrl-C is
    // noted and stops them. Of no use beyond this object's life.
    measure::Progress Watch();
    void End();  // before anything else is printed

private:
    void Show();

    std::string mCommand;
    std::string mStage;
    std::optional<Interrupt> mInterrupt;
    bool mDone = false;
    std::mutex mMutex;
    std::condition_variable mWake;
    std::thread mThread;
};

}  // namespace vorip
