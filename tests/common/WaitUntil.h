#pragma once

#include <chrono>
#include <functional>
#include <thread>

namespace testsupport {

// Polls until the condition holds or a generous bound passes (the suites run on loaded
// machines under sanitizers); answers the condition.
inline bool waitUntil(const std::function<bool()>& condition,
                      std::chrono::milliseconds bound = std::chrono::seconds(30)) {
    const auto deadline = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

}  // namespace testsupport
