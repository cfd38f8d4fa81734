#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace vorip {

// How many threads write the files of a set. One more than there are cores, as writing waits for the disk.
std::size_t MostWriters();

// Tasks that a few threads work off, in their order. The threads start as they are needed; where the system gives none,
// the caller works itself.
class TaskPool {
public:
    // A task gets a function to tell its share that is done, 0 to 1.
    using Task = std::function<void(const std::function<void(double share)>& tell)>;

    explicit TaskPool(std::size_t threads) : mMost(threads) {}
    // Waits for the tasks that have begun; the others are dropped.
    ~TaskPool();
    TaskPool(const TaskPool&) = delete;
    TaskPool& operator=(const TaskPool&) = delete;

    // `work` is how much there is to do, in any unit. Waits as long as more tasks have not begun than there are
    // threads.
    void Add(double work, Task task);
    // Waits until everything is done; `watch` gets the share that is done since the call. Throws what the first task
    // has thrown that threw; the tasks after it may have been dropped.
    void Finish(const std::function<void(double share)>& watch);

private:
    struct Entry {
        Task task;
        double work, done = 0;
    };

    bool StartThread();
    void Work();
    void WorkOnNext(std::unique_lock<std::mutex>& lock);
    double WorkDone() const;

    const std::size_t mMost;
    std::vector<std::thread> mThreads;
    std::deque<Entry> mEntries;  // whose places stay
    std::size_t mNext = 0, mFinished = 0, mIdle = 0;
    std::size_t mFailed = 0;  // entry that threw mError
    std::exception_ptr mError;
    bool mEnding = false;
    mutable std::mutex mMutex;
    std::condition_variable mAdded, mChanged;
};

}  // namespace vorip
