#pragma once

#include <halcyon/Mutex.h>

#include <chrono>

namespace Tamar {
namespace OS {
namespace Telemetry {

// The longest a caller waits for the sync lock or the remote configuration lock. Waiting
// longer means a synchronisation is stuck, which is treated as fatal. The limit is 60 seconds
// in every process; only tests shorten it, so that the fatal path can be exercised.
std::chrono::nanoseconds maxLockContention();
void setMaxLockContentionForTesting(std::chrono::nanoseconds limit);

namespace lockcontention {

// The deadline is kept on the steady clock, but each wait is a short slice against the wall
// clock (pthread_mutex_timedlock): a wall-clock jump can then distort only one slice, and the
// wait stays visible to the thread sanitizer, which does not model the steady-clock variant
// (pthread_mutex_clocklock) that try_lock_for would use.
template <typename TimedLockable>
bool waitForLock(TimedLockable& lock) TRY_ACQUIRE(true, lock) {
    constexpr std::chrono::nanoseconds kSlice = std::chrono::seconds(1);
    const auto deadline = std::chrono::steady_clock::now() + maxLockContention();
    for (;;) {
        const std::chrono::nanoseconds left = deadline - std::chrono::steady_clock::now();
        if (left <= std::chrono::nanoseconds::zero()) return false;
        const auto wait = left < kSlice ? left : kSlice;
        if (lock.try_lock_until(std::chrono::system_clock::now() + wait)) return true;
    }
}

}  // namespace lockcontention

// Takes `lock` within maxLockContention(). The uncontended case is one inlined try_lock(): the
// clock is read only when the lock is already held, which keeps the synchronising readers
// cheap once the settings are cached.
template <typename TimedLockable>
inline bool lockWithinContentionLimit(TimedLockable& lock) TRY_ACQUIRE(true, lock) {
    return lock.try_lock() || lockcontention::waitForLock(lock);
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
