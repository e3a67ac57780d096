#pragma once

#include <mutex>
#include <vector>

namespace testsupport {

// Values added from any thread (binder threads, listeners' threads), read by the test thread.
template <typename T>
class Recorded {
public:
    void add(T value) {
        std::lock_guard<std::mutex> lock(mutex_);
        values_.push_back(std::move(value));
    }
    std::vector<T> all() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return values_;
    }

private:
    mutable std::mutex mutex_;
    std::vector<T> values_;
};

}  // namespace testsupport
