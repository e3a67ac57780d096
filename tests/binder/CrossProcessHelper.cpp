// Processes of a host device for the cross-process tests; each mode is one program run:
//   echo                       the test echo service ("test.echo"), see CrossProcess.h
//   deviceconfig               the device-config service, holding ns/key=value
//   storm N                    N times: fork a device-config service, wait until it is
//                              registered, SIGKILL it
//   hostile N PATH...          writes N random frames to the sockets, reconnecting when cut off
//   forge PATH                 sends three forged frames, each on its own connection, and
//                              prints whether each connection was closed
// Each prints "ready" once serving (storm and hostile print "done" at the end).

#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <random>
#include <string>
#include <vector>

#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/Parcel.h>
#include <binder/ProcessState.h>
#include <deviceconfig_host/HostDeviceConfigService.h>

#include "CrossProcess.h"
#include "FlatBinder.h"

namespace {

using android::IBinder;
using android::Parcel;
using android::sp;
using android::status_t;
using com::halcyon::deviceconfig::host::HostDeviceConfigService;

void say(const char* line) {
    std::printf("%s\n", line);
    std::fflush(stdout);
}

class EchoService : public android::BBinder {
protected:
    status_t onTransact(uint32_t code, const Parcel& data, Parcel* reply, uint32_t flags) override {
        using namespace crossprocess;
        if (code == kCallBack) {
            // Calls the caller's object while the caller waits for this reply.
            const sp<IBinder> target = data.readStrongBinder();
            Parcel answer;
            if (target == nullptr || target->transact(kCallBack, Parcel(), &answer) != android::OK) {
                return android::BAD_VALUE;
            }
            return reply->writeInt32(answer.readInt32());
        }
        auto* const state = android::IPCThreadState::self();
        std::lock_guard<std::mutex> guard(mLock);
        switch (code) {
            case kWhoCalls:
                reply->writeInt32(state->getCallingPid());
                reply->writeInt32(static_cast<int32_t>(state->getCallingUid()));
                return reply->writeInt32(getpid());
            case kEchoBinder:
                return reply->writeStrongBinder(data.readStrongBinder());
            case kRecord:
                mRecords.push_back(data.readInt32());
                return android::OK;
            case kRecords:
                reply->writeInt32(static_cast<int32_t>(mRecords.size()));
                for (int32_t value : mRecords) reply->writeInt32(value);
                return reply->writeInt32(mTransactions);
            case kHold:
                mHeld = data.readStrongBinder();
                return android::OK;
            case kSize:
                ++mTransactions;
                return reply->writeInt32(static_cast<int32_t>(data.dataSize()));
            default:
                return BBinder::onTransact(code, data, reply, flags);
        }
    }

private:
    std::mutex mLock;
    std::vector<int32_t> mRecords;  // guarded by mLock
    int32_t mTransactions = 0;      // guarded by mLock
    sp<IBinder> mHeld;              // guarded by mLock
};

int runEcho() {
    android::ProcessState::self()->startThreadPool();
    if (android::defaultServiceManager()->addService(android::String16(crossprocess::kEchoName),
                                                     sp<IBinder>(new EchoService())) != android::OK) {
        return 1;
    }
    say("ready");
    android::IPCThreadState::self()->joinThreadPool();
    return 0;
}

int runDeviceConfig() {
    sp<HostDeviceConfigService> service = new HostDeviceConfigService();
    service->setProperty("ns", "key", "value");
    if (publishHostDeviceConfigService(service) != android::OK) return 1;
    say("ready");
    for (;;) pause();
}

// Single-threaded until it forks, so each child may start a binder runtime of its own.
int runStorm(int cycles) {
    for (int i = 0; i < cycles; ++i) {
        int ready[2];
        if (pipe(ready) != 0) return 1;
        const pid_t parent = getpid();
        const pid_t child = fork();
        if (child < 0) return 1;
        if (child == 0) {
            // Never outlives the storm.
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent) _exit(1);
            dup2(ready[1], STDOUT_FILENO);  // "ready" goes to the storm
            _exit(runDeviceConfig());
        }
        close(ready[1]);
        char byte = 0;
        const bool registered = read(ready[0], &byte, 1) == 1;
        close(ready[0]);
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        if (!registered) return 1;
    }
    say("done");
    return 0;
}

int connectTo(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path, sizeof(address.sun_path) - 1);
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd >= 0 && connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

// Frames that look plausible enough to reach every check: sane lengths, known commands,
// random nodes, sizes and object tables, sometimes cut short.
int runHostile(int frames, int pathCount, char** paths) {
    std::signal(SIGPIPE, SIG_IGN);
    std::mt19937 random(12345);
    std::vector<int> fds(static_cast<size_t>(pathCount), -1);
    say("ready");
    for (int i = 0; i < frames; ++i) {
        const size_t target = static_cast<size_t>(i % pathCount);
        if (fds[target] < 0) fds[target] = connectTo(paths[target]);
        if (fds[target] < 0) continue;
        std::vector<uint32_t> words(2 + random() % 24);
        for (uint32_t& word : words) word = random() % 4 == 0 ? random() : random() % 64;
        words[0] = static_cast<uint32_t>((words.size() - 2) * 4 + (random() % 3 == 0 ? 8 : 0));
        words[1] = 1 + random() % 5;
        if (send(fds[target], words.data(), words.size() * 4, MSG_NOSIGNAL) < 0 ||
            random() % 4 == 0) {
            close(fds[target]);
            fds[target] = -1;
        }
    }
    say("done");  // the connections close as the process ends
    return 0;
}

bool closedAfter(const char* path, const std::vector<uint8_t>& bytes) {
    const int fd = connectTo(path);
    if (fd < 0 ||
        send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size())) {
        if (fd >= 0) close(fd);
        return false;
    }
    shutdown(fd, SHUT_WR);  // a truncated frame stays truncated
    char byte;
    const bool closed = recv(fd, &byte, 1, 0) == 0;
    close(fd);
    return closed;
}

// A handle never given out, an object entry that is not on a flat object, a truncated frame.
int runForge(const char* path) {
    using namespace crossprocess;
    const auto handle = withWordAt(std::vector<uint8_t>(32), 0, android::hostbinder::kTypeHandle);
    auto truncated = transactionFrame(handle, {});
    truncated.resize(truncated.size() - 3);
    std::string verdicts;
    for (const auto& frame : {transactionFrame({}, {}, 999),
                              transactionFrame(handle, {{4, 1, getpid(), 0}}), truncated}) {
        if (!verdicts.empty()) verdicts += ' ';
        verdicts += closedAfter(path, frame) ? "closed" : "open";
    }
    say(verdicts.c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "echo") return runEcho();
    if (mode == "deviceconfig") return runDeviceConfig();
    if (mode == "storm" && argc == 3) return runStorm(std::atoi(argv[2]));
    if (mode == "forge" && argc == 3) return runForge(argv[2]);
    if (mode == "hostile" && argc >= 4) return runHostile(std::atoi(argv[2]), argc - 3, argv + 3);
    std::fprintf(stderr, "unknown mode\n");
    return 2;
}
