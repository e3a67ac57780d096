#pragma once

// A helper program run as a real process with its stdout on a pipe, and the host
// device (hostbinderd on a fresh directory) that the whole test program joins.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <binder_host/HostBinder.h>

#include "TempDir.h"

namespace crossprocess {

class HelperProcess {
public:
    explicit HelperProcess(const std::vector<std::string>& argv) {
        // Built before fork: the child of a threaded process must not allocate.
        std::vector<char*> args;
        for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
        args.push_back(nullptr);
        int out[2];
        if (pipe2(out, O_CLOEXEC) != 0) return;
        const pid_t parent = getpid();
        mPid = fork();
        if (mPid == 0) {
            // Never outlives a test that was cut short, even one that died before this line.
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent) _exit(127);
            dup2(out[1], STDOUT_FILENO);
            execv(args[0], args.data());
            _exit(127);
        }
        close(out[1]);
        mOut = out[0];
    }
    ~HelperProcess() {
        kill();
        close(mOut);
    }
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;

    pid_t pid() const { return mPid; }

    // The next line the helper prints; empty when it ends or falls silent for the bound.
    std::string readLine(std::chrono::seconds bound = std::chrono::seconds(60)) {
        std::string line;
        pollfd fd{mOut, POLLIN, 0};
        char byte;
        while (poll(&fd, 1, static_cast<int>(bound.count() * 1000)) == 1 &&
               read(mOut, &byte, 1) == 1) {
            if (byte == '\n') return line;
            line += byte;
        }
        return "";
    }

    // SIGKILL and reap.
    void kill() {
        if (mPid > 0) {
            ::kill(mPid, SIGKILL);
            waitpid(mPid, nullptr, 0);
        }
        mPid = -1;
    }

private:
    pid_t mPid = -1;
    int mOut = -1;
};

inline std::vector<std::string> helper(std::vector<std::string> args) {
    args.insert(args.begin(), CROSS_PROCESS_HELPER);
    return args;
}

// hostbinderd on a fresh directory for the whole test program, which joins it through the
// environment variable before any binder is used.
class HostDevice : public testing::Environment {
public:
    void SetUp() override {
        mDir = std::make_unique<testsupport::TempDir>("hostdevice");
        mDaemon = std::make_unique<HelperProcess>(std::vector<std::string>{HOSTBINDERD, dir()});
        ASSERT_EQ("ready", mDaemon->readLine());
        setenv(android::hostbinder::kHostDeviceEnv, dir().c_str(), 1);
    }
    void TearDown() override {
        mDaemon.reset();
        mDir.reset();
    }

    // Where the device's processes listen, one socket per process id.
    std::string socket(const std::string& name) const { return dir() + "/binder/" + name; }
    std::string socket(pid_t pid) const { return socket(std::to_string(pid)); }

private:
    const std::string& dir() const { return mDir->path(); }

    std::unique_ptr<testsupport::TempDir> mDir;
    std::unique_ptr<HelperProcess> mDaemon;
};

inline HostDevice* const gDevice =
        static_cast<HostDevice*>(testing::AddGlobalTestEnvironment(new HostDevice));

}  // namespace crossprocess
