#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>

namespace android::hostbinder {

// The runtime's binder threads. They start on demand when work is posted, so one-way
// calls and death notices are delivered even in processes that never start a thread
// pool; a thread that calls joinThreadPool serves the same queue.
class BinderThreads {
public:
    void post(std::function<void()> task);

    // Blocks until no posted task is queued or running.
    void waitForIdle();

    // Turns the calling thread into a binder thread; never returns.
    [[noreturn]] void serveForever();

    void setMaxThreads(size_t maxThreads);
    size_t maxThreads() const;

    static bool isBinderThread();

    static constexpr size_t kDefaultMaxThreads = 4;

private:
    [[noreturn]] void workerLoop();

    mutable std::mutex mLock;
    std::condition_variable mWorkAvailable;
    std::condition_variable mIdle;
    std::deque<std::function<void()>> mQueue;  // guarded by mLock
    size_t mOutstanding = 0;                   // queued or running; guarded by mLock
    size_t mWorkers = 0;                       // guarded by mLock
    size_t mIdleWorkers = 0;                   // guarded by mLock
    size_t mMaxWorkers = kDefaultMaxThreads;   // guarded by mLock
};

}  // namespace android::hostbinder
