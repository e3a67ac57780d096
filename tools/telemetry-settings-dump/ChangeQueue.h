#pragma once

#include <chrono>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace telemetrydump {

// One change seen by a source of the watch.
struct Change {
    enum class Source { kSetting, kDeviceConfig, kProperty };
    Change(Source from, std::string changedKey, std::optional<std::string> newValue)
        : source(from), key(std::move(changedKey)), value(std::move(newValue)) {}

    Source source;
    std::string key;
    std::optional<std::string> value;     // empty: not set
    std::optional<std::string> previous;  // empty: not known to the source, or not set before
    std::chrono::system_clock::time_point arrived = std::chrono::system_clock::now();
};

// Hands changes from listener threads to the one thread that prints them, and turns SIGINT and
// SIGTERM into a stop request that thread sees. There is one per process, never destroyed: the
// signal handlers write to its pipe, and a late listener call may still push during exit.
class ChangeQueue {
public:
    // The queue, made (with its wake-up pipe and signal handlers) on the first call; null with
    // a message when the pipe or a handler cannot be set up.
    static ChangeQueue* open(std::string* error);

    // Any thread.
    void push(Change change);

    // Blocks until changes are queued or a stop was asked for; takes every queued change.
    std::vector<Change> take(bool* stopRequested);

private:
    ChangeQueue(int readFd, int writeFd) : readFd_(readFd), writeFd_(writeFd) {}
    void wake();

    const int readFd_;
    const int writeFd_;  // also written by the signal handlers
    std::mutex mutex_;
    std::vector<Change> pending_;  // guarded by mutex_
};

}  // namespace telemetrydump
