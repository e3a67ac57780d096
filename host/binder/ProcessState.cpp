#include <binder/ProcessState.h>

#include "Driver.h"

namespace android {

ProcessState::ProcessState() : mMaxThreads(hostbinder::BinderThreads::kDefaultMaxThreads) {}

ProcessState::~ProcessState() = default;

sp<ProcessState> ProcessState::self() {
    // Lives as long as the process, like libbinder's.
    static ProcessState* const state = [] {
        auto* created = new ProcessState();
        created->incStrong(nullptr);
        return created;
    }();
    return state;
}

sp<ProcessState> ProcessState::selfOrNull() {
    return self();
}

void ProcessState::startThreadPool() {
    mThreadPoolStarted = true;
}

bool ProcessState::isThreadPoolStarted() const {
    return mThreadPoolStarted;
}

status_t ProcessState::setThreadPoolMaxThreadCount(size_t maxThreads) {
    mMaxThreads = maxThreads;
    hostbinder::Driver::instance().threads().setMaxThreads(maxThreads);
    return OK;
}

size_t ProcessState::getThreadPoolMaxTotalThreadCount() const {
    return mMaxThreads;
}

void ProcessState::giveThreadPoolName() {}

}  // namespace android
