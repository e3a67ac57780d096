#pragma once

#include <halcyon/Mutex.h>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>

namespace Tamar {
namespace OS {
namespace Telemetry {

// A timed mutex whose unlock() by a thread that does not hold it does nothing, instead of
// being undefined: one caller releases the remote configuration lock a second time, and that
// release must not free another thread's hold.
class CAPABILITY("mutex") OwnerCheckedTimedMutex {
public:
    void lock() ACQUIRE() {
        mutex_.lock();
        owner_.store(std::this_thread::get_id());
    }
    bool try_lock() TRY_ACQUIRE(true) {
        if (!mutex_.try_lock()) return false;
        owner_.store(std::this_thread::get_id());
        return true;
    }
    template <typename Rep, typename Period>
    bool try_lock_for(const std::chrono::duration<Rep, Period>& timeout) TRY_ACQUIRE(true) {
        if (!mutex_.try_lock_for(timeout)) return false;
        owner_.store(std::this_thread::get_id());
        return true;
    }
    template <typename Clock, typename Duration>
    bool try_lock_until(const std::chrono::time_point<Clock, Duration>& deadline)
            TRY_ACQUIRE(true) {
        if (!mutex_.try_lock_until(deadline)) return false;
        owner_.store(std::this_thread::get_id());
        return true;
    }
    void unlock() RELEASE() {
        // Only the holder may see its own id here, so the test and the reset cannot race
        // with another thread's release.
        if (owner_.load() != std::this_thread::get_id()) return;
        owner_.store(std::thread::id());
        mutex_.unlock();
    }

private:
    std::timed_mutex mutex_;
    std::atomic<std::thread::id> owner_{};
};

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
