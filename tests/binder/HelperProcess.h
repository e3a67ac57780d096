#pragma once

// A helper program run as a real process with its stdin and stdout on pipes, and a host
// device (hostbinderd on a fresh directory) that the test process joins.

#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <binder_host/HostBinder.h>

namespace crossprocess {

class HelperProcess {
public:
    explicit HelperProcess(const std::vector<std::string>& argv) {
        // Built before fork: the child of a threaded process must not allocate.
        std::vector<char*> args;
        for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
        args.push_back(nullptr);
        int in[2];
        int out[2];
        if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) return;
        const pid_t parent = getpid();
        mPid = fork();
        if (mPid == 0) {
            // Never outlives a test that was cut short, even one that died before this line.
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent) _exit(127);
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            execv(args[0], args.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        mIn = in[1];
        mOut = out[0];
    }
    ~HelperProcess() {
        kill();
        if (mIn >= 0) close(mIn);
        if (mOut >= 0) close(mOut);
    }
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;

    pid_t pid() const { return mPid; }

    // The next line the helper prints; empty when it ends or the bound passes.
    std::string readLine(std::chrono::seconds bound = std::chrono::seconds(60)) {
        const auto deadline = std::chrono::steady_clock::now() + bound;
        for (;;) {
            if (size_t end = mBuffer.find('\n'); end != std::string::npos) {
                std::string line = mBuffer.substr(0, end);
                mBuffer.erase(0, end + 1);
                return line;
            }
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
                    deadline - std::chrono::steady_clock::now());
            pollfd fd{mOut, POLLIN, 0};
            if (left.count() <= 0 || poll(&fd, 1, static_cast<int>(left.count())) <= 0) return "";
            char chunk[256];
            const ssize_t got = read(mOut, chunk, sizeof(chunk));
            if (got <= 0) return "";
            mBuffer.append(chunk, static_cast<size_t>(got));
        }
    }

    bool writeLine(const std::string& line) {
        const std::string text = line + "\n";
        return write(mIn, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    }

    // SIGKILL and reap; the exit status (-1 when already reaped or never started).
    int kill() {
        if (mPid <= 0) return -1;
        ::kill(mPid, SIGKILL);
        return wait();
    }

    // Waits for the process to end by itself.
    int wait() {
        if (mPid <= 0) return -1;
        int status = 0;
        waitpid(mPid, &status, 0);
        mPid = -1;
        return status;
    }

private:
    pid_t mPid = -1;
    int mIn = -1;
    int mOut = -1;
    std::string mBuffer;
};

// hostbinderd on a fresh directory; the test process joins it through the environment
// variable. Must be created before the process uses any binder.
class HostDevice {
public:
    HostDevice() {
        char pattern[] = "/tmp/hostdevice-XXXXXX";
        mDir = mkdtemp(pattern);
        mDaemon = std::make_unique<HelperProcess>(std::vector<std::string>{HOSTBINDERD, mDir});
        mReady = mDaemon->readLine() == "ready";
        setenv(android::hostbinder::kHostDeviceEnv, mDir.c_str(), 1);
    }
    ~HostDevice() {
        mDaemon.reset();
        std::error_code ignored;
        std::filesystem::remove_all(mDir, ignored);
    }

    bool ready() const { return mReady; }
    const std::string& dir() const { return mDir; }

private:
    std::string mDir;
    std::unique_ptr<HelperProcess> mDaemon;
    bool mReady = false;
};

inline std::vector<std::string> helper(std::vector<std::string> args) {
    args.insert(args.begin(), CROSS_PROCESS_HELPER);
    return args;
}

}  // namespace crossprocess
