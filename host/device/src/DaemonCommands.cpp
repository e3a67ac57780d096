// start, stop and status of a host device. A running device holds an exclusive lock on the
// pid file of its directory for its whole life, so a stale file never looks like a device.

#include <hostdevice/Commands.h>
#include <hostdevice/HostDevice.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace hostdevice {
namespace {

constexpr auto kStopTimeout = std::chrono::seconds(30);

std::string pidFilePath(const std::string& dir) {
    return dir + "/" + kPidFileName;
}

// The pid of the device running in `dir`, or 0 when none runs there.
pid_t runningPid(const std::string& dir) {
    const int fd = open(pidFilePath(dir).c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    pid_t pid = 0;
    if (flock(fd, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        char text[32] = {};
        if (read(fd, text, sizeof(text) - 1) > 0) pid = static_cast<pid_t>(std::atol(text));
        if (pid <= 0) pid = -1;  // locked but not yet written: starting
    }
    close(fd);
    return pid;
}

bool parseDirArgs(const Args& args, const char* command, std::string* dir, bool* foreground,
                  FILE* err) {
    for (const std::string& arg : args) {
        if (foreground != nullptr && arg == "--foreground") {
            *foreground = true;
        } else if (dir->empty() && !arg.empty() && arg[0] != '-') {
            *dir = arg;
        } else {
            std::fprintf(err, "%s: unexpected argument '%s'\n", command, arg.c_str());
            return false;
        }
    }
    if (dir->empty()) {
        std::fprintf(err, "%s: missing state directory\n", command);
        return false;
    }
    return true;
}

int runDevice(const std::string& dir, int lockFd, int readyFd, FILE* err) {
    // Every library call of this process, and of the processes it starts, sees this device.
    setenv("HALCYON_HOST_DEVICE", dir.c_str(), 1);
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);  // before any thread starts

    std::string error;
    std::unique_ptr<HostDevice> device = HostDevice::start(dir, &error);
    if (device == nullptr) {
        std::fprintf(err, "start: %s\n", error.c_str());
        return kExitDeviceError;
    }
    const std::string pid = std::to_string(getpid()) + "\n";
    if (ftruncate(lockFd, 0) != 0 || pwrite(lockFd, pid.data(), pid.size(), 0) < 0) {
        std::fprintf(err, "start: cannot write %s\n", pidFilePath(dir).c_str());
        return kExitDeviceError;
    }
    if (readyFd >= 0) {
        // A daemon logs into its directory, not into the terminal that started it.
        const int log = open((dir + "/hostdevice.log").c_str(),
                             O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        if (log >= 0) {
            dup2(log, STDERR_FILENO);
            close(log);
        }
        const char ready = 1;
        (void)write(readyFd, &ready, 1);
        close(readyFd);
    }
    int signal = 0;
    sigwait(&stopSignals, &signal);
    device.reset();
    unlink(pidFilePath(dir).c_str());
    // Binder threads may still run: leave without running static destructors under them.
    std::fflush(nullptr);
    _exit(kExitOk);
}

}  // namespace

int startCommand(const Args& args, FILE* out, FILE* err) {
    std::string dir;
    bool foreground = false;
    if (!parseDirArgs(args, "start", &dir, &foreground, err)) return kExitUsage;
    if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST) {
        std::fprintf(err, "start: cannot create %s: %s\n", dir.c_str(), std::strerror(errno));
        return kExitDeviceError;
    }
    char resolved[PATH_MAX];
    if (realpath(dir.c_str(), resolved) == nullptr) {
        std::fprintf(err, "start: %s: %s\n", dir.c_str(), std::strerror(errno));
        return kExitDeviceError;
    }
    dir = resolved;
    const int lockFd = open(pidFilePath(dir).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (lockFd < 0) {
        std::fprintf(err, "start: cannot open %s: %s\n", pidFilePath(dir).c_str(),
                     std::strerror(errno));
        return kExitDeviceError;
    }
    if (flock(lockFd, LOCK_EX | LOCK_NB) != 0) {
        std::fprintf(err, "start: a host device already runs in %s\n", dir.c_str());
        close(lockFd);
        return kExitAlreadyRunning;
    }
    if (foreground) return runDevice(dir, lockFd, -1, err);

    // The parent returns once the device serves (or failed), so that scripts can go on at once.
    int ready[2];
    if (pipe2(ready, O_CLOEXEC) != 0) return kExitDeviceError;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) return kExitDeviceError;
    if (child == 0) {
        close(ready[0]);
        setsid();
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDIN_FILENO);
        dup2(null, STDOUT_FILENO);
        // Errors of a failed start still reach the caller's terminal through the parent.
        _exit(runDevice(dir, lockFd, ready[1], err));
    }
    close(ready[1]);
    close(lockFd);
    char byte = 0;
    ssize_t got;
    do {
        got = read(ready[0], &byte, 1);
    } while (got < 0 && errno == EINTR);
    close(ready[0]);
    if (got != 1) return kExitDeviceError;
    std::fprintf(out, "host device started in %s (pid %d)\n", dir.c_str(), child);
    return kExitOk;
}

int statusCommand(const Args& args, FILE* out, FILE* err) {
    std::string dir;
    if (!parseDirArgs(args, "status", &dir, nullptr, err)) return kExitUsage;
    const pid_t pid = runningPid(dir);
    if (pid == 0) {
        std::fprintf(out, "stopped\n");
        return kExitNoDevice;
    }
    if (pid < 0) {
        std::fprintf(out, "starting\n");
    } else {
        std::fprintf(out, "running (pid %d)\n", pid);
    }
    return kExitOk;
}

int stopCommand(const Args& args, FILE* out, FILE* err) {
    std::string dir;
    if (!parseDirArgs(args, "stop", &dir, nullptr, err)) return kExitUsage;
    const pid_t pid = runningPid(dir);
    if (pid <= 0) {
        std::fprintf(err, "stop: no host device runs in %s\n", dir.c_str());
        return kExitNoDevice;
    }
    if (kill(pid, SIGTERM) != 0) {
        std::fprintf(err, "stop: cannot signal pid %d: %s\n", pid, std::strerror(errno));
        return kExitDeviceError;
    }
    // The lock goes with the process: wait for it to be free.
    const auto deadline = std::chrono::steady_clock::now() + kStopTimeout;
    while (runningPid(dir) != 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            std::fprintf(err, "stop: pid %d did not stop\n", pid);
            return kExitDeviceError;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    std::fprintf(out, "stopped\n");
    return kExitOk;
}

}  // namespace hostdevice
