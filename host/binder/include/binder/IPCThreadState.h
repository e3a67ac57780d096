#pragma once

#include <sys/types.h>

#include <cstdint>

#include <utils/Errors.h>

namespace android {

// Per-thread binder state: the calling identity of the call being served (this process
// outside a call and in in-process mode) and the strict-mode policy written into interface
// tokens.
class IPCThreadState {
public:
    static IPCThreadState* self();
    static IPCThreadState* selfOrNull();

    pid_t getCallingPid() const;
    uid_t getCallingUid() const;

    // The token packs the uid in the high word and the pid in the low word, as libbinder's.
    int64_t clearCallingIdentity();
    void restoreCallingIdentity(int64_t token);

    void setStrictModePolicy(int32_t policy);
    int32_t getStrictModePolicy() const;

    // Serves binder work (one-way calls, death notices) on this thread; never returns.
    // Two-way calls from other processes are served by a thread per connection, whether or
    // not a process starts or joins a pool.
    void joinThreadPool(bool isMain = true);

    // Nothing is buffered on the host: transactions are handed over at once.
    void flushCommands();

    // The transaction flags of the call being served on this thread (0 outside a call).
    uint32_t getLastTransactionFlags() const;
    void setLastTransactionFlags(uint32_t flags);

private:
    IPCThreadState();

    pid_t mCallingPid;
    uid_t mCallingUid;
    int32_t mStrictModePolicy = 0;
    uint32_t mLastTransactionFlags = 0;
};

}  // namespace android
