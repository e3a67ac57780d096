#include <binder/IPCThreadState.h>

#include <unistd.h>

#include "Driver.h"

namespace android {

IPCThreadState::IPCThreadState() : mCallingPid(getpid()), mCallingUid(getuid()) {}

IPCThreadState* IPCThreadState::self() {
    static thread_local IPCThreadState state;
    return &state;
}

IPCThreadState* IPCThreadState::selfOrNull() {
    return self();
}

pid_t IPCThreadState::getCallingPid() const {
    return mCallingPid;
}
uid_t IPCThreadState::getCallingUid() const {
    return mCallingUid;
}

int64_t IPCThreadState::clearCallingIdentity() {
    const int64_t token = static_cast<int64_t>(static_cast<uint64_t>(mCallingUid) << 32 |
                                               static_cast<uint32_t>(mCallingPid));
    mCallingPid = getpid();
    mCallingUid = getuid();
    return token;
}
void IPCThreadState::restoreCallingIdentity(int64_t token) {
    mCallingUid = static_cast<uid_t>(static_cast<uint64_t>(token) >> 32);
    mCallingPid = static_cast<pid_t>(static_cast<uint32_t>(token));
}

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
