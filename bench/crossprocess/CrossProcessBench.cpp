// Two processes of one host device: this one (the client) and a device-config service process
// (this program run with --serve). Both the binder call and its floor, a 4-byte ping-pong over
// a Unix socket pair between the same two processes, are timed in the same run; x_floor is the
// call's time as a multiple of the floor.

#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <BenchSupport.h>
#include <ChildProcess.h>
#include <benchmark/benchmark.h>
#include <binder/IPCThreadState.h>
#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>
#include <binder_host/HostBinder.h>
#include <deviceconfig_host/HostDeviceConfigService.h>

namespace {

using com::halcyon::deviceconfig::aidl::IDeviceConfig;
using com::halcyon::deviceconfig::aidl::Property;
using com::halcyon::deviceconfig::host::HostDeviceConfigService;

constexpr const char* kNs = "halcyon_shared_os_services";
int gPing = -1;  // this process's end of the ping-pong pair

void pingPong() {
    uint32_t word = 1;
    if (write(gPing, &word, sizeof(word)) != sizeof(word) ||
        read(gPing, &word, sizeof(word)) != sizeof(word)) {
        std::abort();
    }
}

void BM_CrossProcessGetPropertiesOneKey(benchmark::State& state) {
    const android::sp<IDeviceConfig> service =
            android::interface_cast<IDeviceConfig>(android::defaultServiceManager()->checkService(
                    android::String16("device_config_proxy")));
    if (service == nullptr) {
        state.SkipWithError("no device-config service");
        return;
    }
    const std::vector<std::string> keys{"telemetry_config"};
    std::vector<Property> result;
    auto call = [&] { service->getProperties(kNs, keys, &result); };
    for (auto _ : state) call();
    // Best of 5 alternating rounds of each, on the wall clock: both wait for the other process.
    double now = 1e300, floor = 1e300;
    for (int round = 0; round < 5; ++round) {
        now = std::min(now, benchsupport::nanosPerCall(call, 5000));
        floor = std::min(floor, benchsupport::nanosPerCall(pingPong, 5000));
    }
    state.counters["now_ns"] = now;
    state.counters["floor_ns"] = floor;
    state.counters["x_floor"] = now / floor;
}
BENCHMARK(BM_CrossProcessGetPropertiesOneKey)->UseRealTime();

int serve(int pong) {
    std::thread([pong] {
        uint32_t word = 0;
        while (read(pong, &word, sizeof(word)) == sizeof(word)) {
            if (write(pong, &word, sizeof(word)) != sizeof(word)) break;
        }
        _exit(0);
    }).detach();
    android::sp<HostDeviceConfigService> service = new HostDeviceConfigService();
    service->setProperty(kNs, "telemetry_config", "{\"events\":[\"a\",\"b\",\"c\"]}");
    service->setProperty(kNs, "other", "1");
    if (publishHostDeviceConfigService(service) != android::OK) return 1;
    std::printf("ready\n");
    std::fflush(stdout);
    android::ProcessState::self()->startThreadPool();
    android::IPCThreadState::self()->joinThreadPool();
    return 0;
}

// Starts a child and waits for its "ready" line; null when it does not get ready.
std::unique_ptr<testsupport::ChildProcess> startChild(const std::vector<std::string>& argv) {
    auto child = std::make_unique<testsupport::ChildProcess>(argv);
    return child->readLine() == "ready" ? std::move(child) : nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--serve") == 0) return serve(std::atoi(argv[2]));

    char pattern[] = "/tmp/hostdevice-bench-XXXXXX";
    const std::string dir = mkdtemp(pattern);
    auto daemon = startChild({HOSTBINDERD, dir});
    setenv(android::hostbinder::kHostDeviceEnv, dir.c_str(), 1);
    int pair[2];
    if (daemon == nullptr || socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0) return 1;
    gPing = pair[0];
    auto server = startChild({"/proc/self/exe", "--serve", std::to_string(pair[1])});
    close(pair[1]);
    int status = 1;
    if (server != nullptr) {
        benchmark::Initialize(&argc, argv);
        benchmark::RunSpecifiedBenchmarks();
        benchmark::Shutdown();
        status = 0;
    }
    server.reset();
    daemon.reset();
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
    return status;
}
