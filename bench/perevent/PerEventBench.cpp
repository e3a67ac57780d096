// The calls made once per telemetry event, each beside the floor it cannot beat, measured in
// the same run. Counters: now_ns and floor_ns (best of 5 alternating rounds, on the thread's CPU
// clock; for the remote read on the wall clock, and cpu_ns on the process's CPU clock), ratio,
// target (the ratio to stay under), allocs (operator new calls per call) and, for the readers,
// x8 (throughput of 8 threads over that of one; at least 1 means no collapse) beside floor_x8,
// the same for the floor: a reader that must take a lock shared by every thread scales no
// better than that lock's own pair.

#include <telemetry/historystore/HistoryStore.h>
#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <BenchSupport.h>
#include <FakeSettingsService.h>

#include <android-base/properties.h>
#include <benchmark/benchmark.h>
#include <binder/IServiceManager.h>
#include <deviceconfig_host/HostDeviceConfigService.h>
#include <hostproperties/PropertyStore.h>
#include <dlfcn.h>
#include <sys/system_properties.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Tamar::OS::Telemetry;
namespace gk = TelemetryVelaconfigs;
namespace dc = com::halcyon::deviceconfig;
using Clock = std::chrono::steady_clock;

constexpr char kNs[] = "halcyon_shared_os_services";
constexpr char kLiveKey[] =
        "persist.device_config.halcyon_shared_os_services.halcyon_mobile_telemetry_enable_"
        "verification";
constexpr char kHistoryKey[] =
        "persist.device_config.halcyon_shared_os_services.halcyon_mobile_telemetry_enable_"
        "history_store";

// The processes that use the manager always have more than one thread (binder threads), and
// glibc locks without an atomic instruction until a second thread has existed.
const bool kProcessHasHadASecondThread = [] {
    std::thread([] {}).join();
    return true;
}();

using benchsupport::eightThreadScaling;
using benchsupport::nanosPerCall;

// Runs `call` under the benchmark loop (counting allocations), then times it against `floor`
// on `clock`. A call that waits for another thread is timed on the wall clock and on the CPU
// time of the whole process as well.
template <typename Call, typename Floor>
void compare(benchmark::State& state, double target, Call call, Floor floor, bool waits) {
    const long before = benchsupport::allocations();
    for (auto _ : state) call();
    const long made = benchsupport::allocations() - before;
    const int64_t n = std::max<int64_t>(state.iterations() / 10, 10);
    const auto best = [&](clockid_t clock, const char* now, const char* least, const char* ratio) {
        double a = 1e300, b = 1e300;
        for (int round = 0; round < 5; ++round) {
            a = std::min(a, nanosPerCall(call, n, clock));
            b = std::min(b, nanosPerCall(floor, n, clock));
        }
        state.counters[now] = a;
        state.counters[least] = b;
        state.counters[ratio] = a / b;
    };
    if (waits) {
        best(CLOCK_MONOTONIC, "now_ns", "floor_ns", "ratio");
        best(CLOCK_PROCESS_CPUTIME_ID, "now_cpu_ns", "floor_cpu_ns", "cpu_ratio");
    } else {
        best(CLOCK_THREAD_CPUTIME_ID, "now_ns", "floor_ns", "ratio");
        state.counters["x8"] = eightThreadScaling(call, n);
        state.counters["floor_x8"] = eightThreadScaling(floor, n);
    }
    state.counters["target"] = target;
    state.counters["allocs"] = double(made) / double(state.iterations());
}

// Keeps every write in memory so that the store does not dominate set-up.
class MemoryStorageCache : public IStorageCache {
public:
    std::optional<std::string> get(Store, const std::string&, const std::string&) override {
        return std::nullopt;
    }
    bool set(Store, const std::string&, const std::string&, const std::string&) override {
        return true;
    }
};

// The settings service is up; the device-config service is up only in the remote-read case.
class BenchManager : public TelemetrySettingsManager {
public:
    using TelemetrySettingsManager::TelemetrySettingsManager;
    bool isServiceRunning(const char* name) override {
        return std::strcmp(name, "PreferencesService") == 0 ||
               TelemetrySettingsManager::isServiceRunning(name);
    }
};

// Synchronised once, with the history gate and one live gate on.
TelemetrySettingsManager& manager() {
    static TelemetrySettingsManager* instance = [] {
        hostproperties::setProperty(kLiveKey, "1");
        hostproperties::setProperty(kHistoryKey, "1");
        auto settings = std::make_shared<testsupport::FakeSettingsService>();
        settings->putString("telemetry_state", "on");
        settings->putInt("managed_device", 1);
        auto* m = new BenchManager(settings, std::make_shared<MemoryStorageCache>());
        m->setHistoryStoreManager(std::make_shared<HistoryStoreManager>());
        if (!m->syncSettings()) std::abort();
        return m;
    }();
    return *instance;
}

// One read of a flag property by name: the cost of a live gate that cannot be avoided.
bool readFlagProperty(const char* key) {
    bool on = false;
    const prop_info* info = __system_property_find(key);
    if (info == nullptr) return on;
    __system_property_read_callback(
            info,
            [](void* cookie, const char*, const char* value, uint32_t) {
                *static_cast<bool*>(cookie) = value[0] == '1';
            },
            &on);
    return on;
}

// A per-flag reader as generated flag code keeps it: the property is read once, then a cached
// optional answers.
[[gnu::noinline]] bool cachedFlagReader() {
    static std::optional<bool> value;
    if (!value.has_value()) value = readFlagProperty(kHistoryKey);
    return *value;
}

void BM_GateCached(benchmark::State& state) {
    auto& m = manager();
    compare(
            state, 3.0,
            [&] { benchmark::DoNotOptimize(m.getGKFlag(gk::EnableTelemetryHistoryStore)); },
            [] { benchmark::DoNotOptimize(cachedFlagReader()); }, false);
}
BENCHMARK(BM_GateCached)->UseRealTime();

void BM_GateLive(benchmark::State& state) {
    auto& m = manager();
    compare(
            state, 1.5, [&] { benchmark::DoNotOptimize(m.getGKFlag(gk::EnableStatsdVerification)); },
            [] { benchmark::DoNotOptimize(readFlagProperty(kLiveKey)); }, false);
}
BENCHMARK(BM_GateLive)->UseRealTime();

void BM_IsTelemetryEnabled(benchmark::State& state) {
    auto& m = manager();
    static std::timed_mutex mutex;
    compare(
            state, 1.2, [&] { benchmark::DoNotOptimize(m.isTelemetryEnabled()); },
            [] {
                mutex.lock();
                mutex.unlock();
            },
            false);
}
BENCHMARK(BM_IsTelemetryEnabled)->UseRealTime();

// Floor: its parts called one after the other (a sync pass, the cached gate, one find).
void BM_GetTelemetryManagedMode(benchmark::State& state) {
    auto& m = manager();
    const auto t = Clock::now();
    const std::optional<unsigned int> user = 0u;
    HistoryStore<int> history("bench");
    history.insert(1);
    compare(
            state, 1.2, [&] { benchmark::DoNotOptimize(m.getTelemetryManagedMode(t, user)); },
            [&] {
                benchmark::DoNotOptimize(m.syncSettings());
                benchmark::DoNotOptimize(m.getGKFlag(gk::EnableTelemetryHistoryStore));
                benchmark::DoNotOptimize(history.find(t, user));
            },
            false);
}
BENCHMARK(BM_GetTelemetryManagedMode)->UseRealTime();

// libbase's own function, found in libbase itself: the host stand-in interposes the global one.
template <typename Fn>
Fn libbaseOwn(const char* symbol) {
    return reinterpret_cast<Fn>(dlsym(dlopen("libbase.so.0", RTLD_NOW | RTLD_NOLOAD), symbol));
}

// A property read through libbase on this library's property store. Floor: libbase's
// GetProperty on its own in-process map, holding as many properties.
void BM_LibbasePropertyRead(benchmark::State& state) {
    using GetFn = std::string (*)(const std::string&, const std::string&);
    using SetFn = bool (*)(const std::string&, const std::string&);
    const auto ownGet = libbaseOwn<GetFn>(
            "_ZN7android4base11GetPropertyERKNSt7__cxx1112basic_stringIcSt11char_"
            "traitsIcESaIcEEES8_");
    const auto ownSet = libbaseOwn<SetFn>(
            "_ZN7android4base11SetPropertyERKNSt7__cxx1112basic_stringIcSt11char_"
            "traitsIcESaIcEEES8_");
    if (ownGet == nullptr || ownSet == nullptr || ownGet == &android::base::GetProperty) {
        state.SkipWithError("cannot reach libbase's own property functions");
        return;
    }
    for (int i = 0; i < 500; ++i) {
        const std::string name = "persist.device_config.bench_namespace.flag_" + std::to_string(i);
        hostproperties::setProperty(name, "1");
        ownSet(name, "1");
    }
    ownSet(kLiveKey, "1");
    const std::string name = kLiveKey;
    const std::string fallback;
    compare(
            state, 1.0,
            [&] { benchmark::DoNotOptimize(android::base::GetProperty(name, fallback)); },
            [&] { benchmark::DoNotOptimize(ownGet(name, fallback)); }, false);
}
BENCHMARK(BM_LibbasePropertyRead)->UseRealTime();

// Floor: one thread created and joined plus one getProperties round trip, the least a read
// that builds its own device-config client must do.
void BM_RemoteStringServiceUp(benchmark::State& state) {
    android::sp<dc::host::HostDeviceConfigService> service = new dc::host::HostDeviceConfigService();
    if (dc::host::publishHostDeviceConfigService(service) != android::OK) {
        state.SkipWithError("cannot publish the device-config service");
        return;
    }
    service->setProperty(kNs, gk::TelemetryAllowedSDKEventsList, "a;b;c");
    auto& m = manager();
    const auto proxy = android::interface_cast<dc::aidl::IDeviceConfig>(
            android::defaultServiceManager()->checkService(
                    android::String16("device_config_proxy")));
    const std::vector<std::string> keys{gk::TelemetryAllowedSDKEventsList};
    std::vector<dc::aidl::Property> result;
    compare(
            state, 1.5, [&] { benchmark::DoNotOptimize(m.getTelemetryAllowedSDKEventsList()); },
            [&] {
                std::thread([] {}).join();
                proxy->getProperties(kNs, keys, &result);
            },
            true);
    dc::host::killHostDeviceConfigService();
}
BENCHMARK(BM_RemoteStringServiceUp)->UseRealTime();

}  // namespace
