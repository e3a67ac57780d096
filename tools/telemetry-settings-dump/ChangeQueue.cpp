#include "ChangeQueue.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

namespace telemetrydump {
namespace {

// Written by the signal handlers, read by take(): a self-pipe, since a handler may do no more
// than set a lock-free flag and write(2). The handler may run on any thread.
std::atomic<bool> stopAsked{false};
static_assert(std::atomic<bool>::is_always_lock_free);
int signalWakeFd = -1;  // set once before the handlers are installed

void onStopSignal(int) {
    const int savedErrno = errno;
    stopAsked.store(true);
    const char byte = 's';
    (void)!write(signalWakeFd, &byte, 1);
    errno = savedErrno;
}

}  // namespace

ChangeQueue* ChangeQueue::open(std::string* error) {
    static ChangeQueue* queue = [error]() -> ChangeQueue* {
        int fds[2];
        if (pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) {
            *error = std::string("cannot make a pipe: ") + std::strerror(errno);
            return nullptr;
        }
        signalWakeFd = fds[1];
        struct sigaction action {};
        action.sa_handler = onStopSignal;
        sigemptyset(&action.sa_mask);
        action.sa_flags = SA_RESTART;
        for (int signal : {SIGINT, SIGTERM}) {
            if (sigaction(signal, &action, nullptr) != 0) {
                *error = std::string("cannot handle signals: ") + std::strerror(errno);
                return nullptr;
            }
        }
        return new ChangeQueue(fds[0], fds[1]);
    }();
    return queue;
}

void ChangeQueue::push(Change change) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        pending_.push_back(std::move(change));
    }
    wake();
}

void ChangeQueue::wake() {
    // A full pipe already holds a wake-up.
    const char byte = 'c';
    (void)!write(writeFd_, &byte, 1);
}

std::vector<Change> ChangeQueue::take(bool* stopRequested) {
    for (;;) {
        // Drained before the check, so a wake-up written after the check is still seen.
        char bytes[64];
        while (read(readFd_, bytes, sizeof(bytes)) > 0) {
        }
        {
            std::lock_guard<std::mutex> lock(mutex_);
            *stopRequested = stopAsked.load();
            if (*stopRequested || !pending_.empty()) return std::exchange(pending_, {});
        }
        pollfd wait{readFd_, POLLIN, 0};
        (void)poll(&wait, 1, -1);
    }
}

}  // namespace telemetrydump
