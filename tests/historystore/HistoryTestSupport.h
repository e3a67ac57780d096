#pragma once

#include <telemetry/historystore/ClockWrapper.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>

namespace historytest {

using time_point = std::chrono::steady_clock::time_point;

inline time_point at(int64_t nanos) {
    return time_point(std::chrono::nanoseconds(nanos));
}

// A clock that stands still until the test moves it.
class ManualClock : public Tamar::OS::Telemetry::ClockWrapper {
public:
    explicit ManualClock(std::shared_ptr<std::atomic<int64_t>> nanos) : nanos(std::move(nanos)) {}
    time_point now() const override { return at(nanos->load()); }

private:
    std::shared_ptr<std::atomic<int64_t>> nanos;
};

}  // namespace historytest
