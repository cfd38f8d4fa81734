#include "tools/vorip/session/progress.h"

#include <opencv2/core.hpp>
#include <system_error>

#include "tools/vorip/session/terminal.h"

namespace vorip {
namespace {

constexpr double kLeastSeconds = 1;  // before that nobody can tell how long it will take

double Seconds(std::chrono::steady_clock::duration time) { return std::chrono::duration<double>(time).count(); }

std::string InWords(double seconds) {
    if (seconds < 90) return cv::format("%.0f s", seconds);
    if (seconds < 90 * 60) return cv::format("%.0f min", seconds / 60);
    return seconds < 48 * 3600 ? cv::format("%.0f h", seconds / 3600) : cv::format("%.0f days", seconds / 86400);
}

}  // namespace

Progress* Progress::mOfRun = nullptr;

Progress::Progress(const std::string& command) : mCommand(command) {
    mOfRun = this;
    if (!StderrIsTerminal()) return;
    try {
        mThread = std::thread([this] { Show(); });
    } catch (const std::system_error&) {  // the run can do without
    }
}

Progress::~Progress() {
    End();
    if (mOfRun == this) mOfRun = nullptr;
}

void Progress::End() {
    if (!mThread.joinable()) return;
    {
        const std::lock_guard lock(mMutex);
        mDone = true;
    }
    mWake.notify_one();
    mThread.join();
}

void Progress::Stage(const std::string& what, double share) {
    const std::lock_guard lock(mMutex);
    mStage = what;
    SetShare(share);
}

void Progress::SetShare(double share) {
    if (share <= 0 || share < mShare) mZero = Clock::now();
    mShare = share;
}

measure::Progress Progress::WatchOfRun() { return mOfRun ? mOfRun->Watch() : measure::Progress(); }

void Progress::ShareOfRun(double share) {
    if (!mOfRun) return;
    const std::lock_guard lock(mOfRun->mMutex);
    mOfRun->SetShare(share);
}

measure::Progress Progress::Watch() {
    return [this](const char* stage, double share) {
        Stage(stage, share);
        return true;
    };
}

std::string Progress::Line(Clock::time_point now) const {
    std::string line = mCommand + ": " + Printable(mStage);
    if (mShare > 0) line += cv::format(mShare < 0.01 ? ", %.1f %%" : ", %.0f %%", 100 * mShare);
    line += ", " + InWords(Seconds(now - mStart));
    const double since = Seconds(now - mZero);
    if (mShare > 0 && since >= kLeastSeconds) line += ", about " + InWords(since * (1 - mShare) / mShare) + " left";
    return line;
}

void Progress::Show() {
    bool shown = false;
    std::unique_lock lock(mMutex);
    for (auto next = mStart + std::chrono::seconds(1); !mWake.wait_until(lock, next, [this] { return mDone; });
         next += std::chrono::milliseconds(200)) {
        ShowProgress(Line(Clock::now()));
        shown = true;
    }
    if (shown) WipeLine();
}

}  // namespace vorip
