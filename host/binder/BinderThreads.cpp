#include "BinderThreads.h"

#include <thread>
#include <utility>

namespace android::hostbinder {

namespace {
thread_local bool tIsBinderThread = false;
}  // namespace

void BinderThreads::post(std::function<void()> task) {
    bool spawn = false;
    {
        std::lock_guard<std::mutex> guard(mLock);
        mQueue.push_back(std::move(task));
        ++mOutstanding;
        if (mIdleWorkers == 0 && mWorkers < mMaxWorkers) {
            ++mWorkers;
            spawn = true;
        }
    }
    mWorkAvailable.notify_one();
    // Workers live as long as the process, like a binder thread pool.
    if (spawn) std::thread([this] { workerLoop(); }).detach();
}

void BinderThreads::waitForIdle() {
    std::unique_lock<std::mutex> lock(mLock);
    mIdle.wait(lock, [this] { return mOutstanding == 0; });
}

void BinderThreads::serveForever() {
    {
        std::lock_guard<std::mutex> guard(mLock);
        ++mWorkers;
    }
    workerLoop();
}

void BinderThreads::setMaxThreads(size_t maxThreads) {
    std::lock_guard<std::mutex> guard(mLock);
    // At least one runtime thread, so callbacks arrive even without joinThreadPool.
    mMaxWorkers = maxThreads == 0 ? 1 : maxThreads;
}

size_t BinderThreads::maxThreads() const {
    std::lock_guard<std::mutex> guard(mLock);
    return mMaxWorkers;
}

bool BinderThreads::isBinderThread() {
    return tIsBinderThread;
}

void BinderThreads::workerLoop() {
    tIsBinderThread = true;
    for (;;) {
        std::function<void()> task;
        {
            std::unique_lock<std::mutex> lock(mLock);
            ++mIdleWorkers;
            mWorkAvailable.wait(lock, [this] { return !mQueue.empty(); });
            --mIdleWorkers;
            task = std::move(mQueue.front());
            mQueue.pop_front();
        }
        task();
        task = nullptr;  // release what the task held before it counts as done
        bool idle = false;
        {
            std::lock_guard<std::mutex> guard(mLock);
            idle = --mOutstanding == 0;
        }
        if (idle) mIdle.notify_all();
    }
}

}  // namespace android::hostbinder
