#pragma once

#include <chrono>

namespace Tamar {
namespace OS {
namespace Telemetry {

// The longest a caller waits for the sync lock or the remote configuration lock. Waiting
// longer means a synchronisation is stuck, which is treated as fatal. The limit is 60 seconds
// in every process; only tests shorten it, so that the fatal path can be exercised.
std::chrono::nanoseconds maxLockContention();
void setMaxLockContentionForTesting(std::chrono::nanoseconds limit);

// Takes `lock` within maxLockContention(). The uncontended case costs one try_lock(): the
// clock is read only when the lock is already held, which keeps the synchronising readers
// cheap once the settings are cached.
template <typename TimedLockable>
bool lockWithinContentionLimit(TimedLockable& lock) {
    if (lock.try_lock()) return true;
#if defined(__SANITIZE_THREAD__)
    // ThreadSanitizer does not intercept pthread_mutex_clocklock, which libstdc++ uses for a
    // steady-clock wait, and then reports the later unlock as foreign. A system-clock deadline
    // is waited for with pthread_mutex_timedlock, which it does understand; elsewhere the
    // steady clock is kept, so that a wall-clock change cannot cut the wait short.
    return lock.try_lock_until(std::chrono::system_clock::now() + maxLockContention());
#else
    return lock.try_lock_for(maxLockContention());
#endif
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
