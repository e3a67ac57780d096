#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace deviceconfigtest {

// Polls until the condition holds or a generous bound passes; answers the condition.
inline bool waitUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds bound = std::chrono::seconds(10)) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace deviceconfigtest
