#pragma once

// Mutexes and a scoped guard that the compiler's thread-safety analysis can follow
// (-Wthread-safety in the clang build): the standard library's own types carry no
// capability annotations on every platform this code is built for.

#include <android-base/thread_annotations.h>

#include <chrono>
#include <mutex>

// GCC knows none of these attributes and would warn on each; the analysis runs under clang.
#if !defined(__clang__)
#undef THREAD_ANNOTATION_ATTRIBUTE__
#define THREAD_ANNOTATION_ATTRIBUTE__(x)
#endif

namespace Tamar {
namespace OS {
namespace Telemetry {

// std::mutex as a capability.
class CAPABILITY("mutex") Mutex {
public:
    void lock() ACQUIRE() { mutex_.lock(); }
    bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }
    void unlock() RELEASE() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

// std::timed_mutex as a capability.
class CAPABILITY("mutex") TimedMutex {
public:
    void lock() ACQUIRE() { mutex_.lock(); }
    bool try_lock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }
    template <typename Clock, typename Duration>
    bool try_lock_until(const std::chrono::time_point<Clock, Duration>& deadline)
            TRY_ACQUIRE(true) {
        return mutex_.try_lock_until(deadline);
    }
    void unlock() RELEASE() { mutex_.unlock(); }

private:
    std::timed_mutex mutex_;
};

// Holds `lock` until the end of the scope; the adopting form takes over a hold the caller
// already has.
template <typename Lockable>
class SCOPED_CAPABILITY LockGuard {
public:
    explicit LockGuard(Lockable& lock) ACQUIRE(lock) : lock_(lock) { lock_.lock(); }
    LockGuard(Lockable& lock, std::adopt_lock_t) REQUIRES(lock) : lock_(lock) {}
    ~LockGuard() RELEASE() { lock_.unlock(); }

    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;

private:
    Lockable& lock_;
};

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
