#include <binder/IPCThreadState.h>

#include <unistd.h>

#include "Driver.h"

namespace android {

IPCThreadState::IPCThreadState() = default;

IPCThreadState* IPCThreadState::self() {
    static thread_local IPCThreadState state;
    return &state;
}

IPCThreadState* IPCThreadState::selfOrNull() {
    return self();
}

// Every caller is this process.
pid_t IPCThreadState::getCallingPid() const {
    return getpid();
}
uid_t IPCThreadState::getCallingUid() const {
    return getuid();
}

int64_t IPCThreadState::clearCallingIdentity() {
    return 0;
}
void IPCThreadState::restoreCallingIdentity(int64_t /*token*/) {}

void IPCThreadState::setStrictModePolicy(int32_t policy) {
    mStrictModePolicy = policy;
}
int32_t IPCThreadState::getStrictModePolicy() const {
    return mStrictModePolicy;
}

void IPCThreadState::joinThreadPool(bool /*isMain*/) {
    hostbinder::Driver::instance().threads().serveForever();
}

void IPCThreadState::flushCommands() {}

uint32_t IPCThreadState::getLastTransactionFlags() const {
    return mLastTransactionFlags;
}
void IPCThreadState::setLastTransactionFlags(uint32_t flags) {
    mLastTransactionFlags = flags;
}

}  // namespace android
