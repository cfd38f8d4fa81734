#include "tools/vorip/session/taskpool.h"

#include <algorithm>
#include <chrono>
#include <numeric>
#include <opencv2/core.hpp>
#include <system_error>
#include <utility>

namespace vorip {

std::size_t MostWriters() { return static_cast<std::size_t>(std::max(cv::getNumThreads(), 1)) + 1; }

TaskPool::~TaskPool() {
    {
        const std::lock_guard lock(mMutex);
        mEnding = true;
    }
    mAdded.notify_all();
    for (std::thread& thread : mThreads) thread.join();
}

void TaskPool::Add(double work, Task task) {
    std::unique_lock lock(mMutex);
    mEntries.push_back({std::move(task), work});
    const std::size_t waiting = mEntries.size() - mNext;
    if (waiting > mIdle && mThreads.size() < mMost && !StartThread() && mThreads.empty()) return WorkOnNext(lock);
    mAdded.notify_one();
    mChanged.wait(lock, [this] { return mEntries.size() - mNext <= mMost; });
}

void TaskPool::Finish(const std::function<void(double share)>& watch) {
    constexpr auto kPause = std::chrono::milliseconds(100);
    std::unique_lock lock(mMutex);
    const double before = WorkDone();
    const double all =
        std::accumulate(mEntries.begin(), mEntries.end(), -before, [](double sum, auto& e) { return sum + e.work; });
    while (!mChanged.wait_for(lock, kPause, [this] { return mFinished == mEntries.size(); }))
        watch(all > 0 ? (WorkDone() - before) / all : 0);
    mEntries.clear();
    mNext = mFinished = mFailed = 0;
    if (const std::exception_ptr error = std::exchange(mError, nullptr)) std::rethrow_exception(error);
}

bool TaskPool::StartThread() try {
    mThreads.reserve(mMost);
    mThreads.emplace_back([this] { Work(); });
    return true;
} catch (const std::system_error&) {
    return false;
}

void TaskPool::Work() {
    std::unique_lock lock(mMutex);
    while (true) {
        ++mIdle;
        mAdded.wait(lock, [this] { return mEnding || mNext < mEntries.size(); });
        --mIdle;
        if (mEnding) return;
        WorkOnNext(lock);
    }
}

void TaskPool::WorkOnNext(std::unique_lock<std::mutex>& lock) {
    const std::size_t number = mNext++;
    Entry& entry = mEntries[number];
    std::exception_ptr error;
    if (!mError) {
        lock.unlock();
        mChanged.notify_all();
        try {
            entry.task([&](double share) {
                const std::lock_guard telling(mMutex);
                entry.done = share * entry.work;
            });
        } catch (...) {
            error = std::current_exception();
        }
        lock.lock();
    }
    entry.task = nullptr;  // and what it holds
    entry.done = entry.work;
    if (error && (!mError || number < mFailed)) {
        mError = error;
        mFailed = number;
    }
    ++mFinished;
    mChanged.notify_all();
}

double TaskPool::WorkDone() const {
    return std::accumulate(mEntries.begin(), mEntries.end(), 0.0, [](double sum, auto& e) { return sum + e.done; });
}

}  // namespace vorip
