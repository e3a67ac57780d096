// Cost of the synchronising readers once the settings are cached, beside the cost of an
// uncontended std::timed_mutex lock+unlock pair (the floor of a pass through the sync lock).

#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <FakeSettingsService.h>
#include <FakeStorageCache.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace {

using Tamar::OS::Telemetry::HistoryStoreManager;
using Tamar::OS::Telemetry::TelemetrySettingsManager;

// The settings service is up and the device-config service is not; everything else is the
// production code path.
class BenchManager : public TelemetrySettingsManager {
public:
    using TelemetrySettingsManager::TelemetrySettingsManager;
    bool isServiceRunning(const char* name) override {
        return std::strcmp(name, "PreferencesService") == 0;
    }
};

TelemetrySettingsManager& syncedManager() {
    static TelemetrySettingsManager* manager = [] {
        auto settings = std::make_shared<testsupport::FakeSettingsService>();
        settings->putString("telemetry_state", "on");
        settings->putInt("managed_device", 1);
        auto* m = new BenchManager(settings, std::make_shared<testsupport::FakeStorageCache>());
        m->setHistoryStoreManager(std::make_shared<HistoryStoreManager>());
        if (!m->syncSettings()) std::abort();
        return m;
    }();
    return *manager;
}

// glibc locks a mutex without an atomic instruction while a process has never had a second
// thread. The processes that use the manager always have (binder threads), so every run here
// is made in a process that has had one; otherwise the single-threaded reference pair would be
// measured on a path that no real caller takes.
const bool kProcessHasHadASecondThread = [] {
    std::thread([] {}).join();
    return true;
}();

void BM_TimedMutexLockUnlock(benchmark::State& state) {
    static std::timed_mutex mutex;  // shared by the threads of a run, as the sync lock is
    for (auto _ : state) {
        mutex.lock();
        mutex.unlock();
    }
}

void BM_IsTelemetryEnabled(benchmark::State& state) {
    auto& manager = syncedManager();
    for (auto _ : state) benchmark::DoNotOptimize(manager.isTelemetryEnabled());
}

void BM_GetTelemetryManagedMode(benchmark::State& state) {
    auto& manager = syncedManager();
    const auto t = std::chrono::steady_clock::now();
    const std::optional<unsigned int> user = 0u;
    for (auto _ : state) benchmark::DoNotOptimize(manager.getTelemetryManagedMode(t, user));
}

BENCHMARK(BM_TimedMutexLockUnlock)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();
BENCHMARK(BM_IsTelemetryEnabled)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();
BENCHMARK(BM_GetTelemetryManagedMode)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();

}  // namespace
