#pragma once

#include <atomic>
#include <cstddef>

#include <binder/IBinder.h>
#include <utils/RefBase.h>

namespace android {

// Process-wide binder state. On the host the runtime's binder threads deliver one-way calls
// and death notices whether or not startThreadPool is called, and in host device mode a
// thread per incoming connection serves two-way calls; startThreadPool only records that the
// process asked for a pool.
class ProcessState : public virtual RefBase {
public:
    static sp<ProcessState> self();
    static sp<ProcessState> selfOrNull();

    void startThreadPool();
    status_t setThreadPoolMaxThreadCount(size_t maxThreads);
    size_t getThreadPoolMaxTotalThreadCount() const;
    void giveThreadPoolName();

    bool isThreadPoolStarted() const;

private:
    ProcessState();
    ~ProcessState() override;

    std::atomic<bool> mThreadPoolStarted{false};
    std::atomic<size_t> mMaxThreads;
};

}  // namespace android
