// Per-event costs of the gate, low-latency and remote-string queries, with a baseline of
// one atomic load plus one hash lookup of the gate name to compare the gate query against.

#include <benchmark/benchmark.h>

#include <deviceconfig_host/HostDeviceConfigService.h>
#include <hostproperties/PropertyStore.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <string>
#include <unordered_map>

namespace {

using Tamar::OS::Telemetry::TelemetrySettingsManager;
using Tamar::OS::Telemetry::TransparentStringHash;
namespace gk = Tamar::OS::Telemetry::TelemetryVelaconfigs;
namespace dchost = com::halcyon::deviceconfig::host;

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

std::unique_ptr<TelemetrySettingsManager> makeManager() {
    auto manager = std::make_unique<TelemetrySettingsManager>(
            nullptr, std::make_shared<MemoryStorageCache>());
    manager->initializeGKs();
    return manager;
}

void BM_Baseline_AtomicLoadPlusNameLookup(benchmark::State& state) {
    std::atomic<bool> initialised{true};
    std::unordered_map<std::string, std::atomic<bool>, TransparentStringHash, std::equal_to<>> cache;
    for (const char* name : {gk::EnableIntakeMonitor, gk::EnableTelemetryHistoryStore,
                             gk::EnableStatsdVerification, gk::EnableDebuggingAtScale}) {
        cache.try_emplace(name, false);
    }
    const char* name = gk::EnableTelemetryHistoryStore;
    benchmark::DoNotOptimize(name);
    for (auto _ : state) {
        bool value = initialised.load();
        value &= cache.find(std::string_view(name))->second.load();
        benchmark::DoNotOptimize(value);
    }
}
BENCHMARK(BM_Baseline_AtomicLoadPlusNameLookup);

void BM_GetGKFlag_NonLive(benchmark::State& state) {
    auto manager = makeManager();
    for (auto _ : state)
        benchmark::DoNotOptimize(manager->getGKFlag(gk::EnableTelemetryHistoryStore));
}
BENCHMARK(BM_GetGKFlag_NonLive);

void BM_GetGKFlag_Live(benchmark::State& state) {
    hostproperties::setProperty(
            "persist.device_config.halcyon_shared_os_services.halcyon_mobile_telemetry_enable_"
            "verification",
            "1");
    auto manager = makeManager();
    for (auto _ : state) benchmark::DoNotOptimize(manager->getGKFlag(gk::EnableStatsdVerification));
}
BENCHMARK(BM_GetGKFlag_Live);

void BM_GetLowLatencyOverrideList(benchmark::State& state) {
    auto manager = makeManager();
    manager->setLowLatencyOverrideSettings("halcyon_mobile_telemetry_qos_override",
                                           "a,true;b,false;c,true");
    manager->setTravelModeEnabled(state.range(0) != 0);
    for (auto _ : state) benchmark::DoNotOptimize(manager->getLowLatencyOverrideList());
}
BENCHMARK(BM_GetLowLatencyOverrideList)->ArgName("travel")->Arg(0)->Arg(1);

void BM_GetTelemetryAllowedSDKEventsList_ServiceAbsent(benchmark::State& state) {
    auto manager = makeManager();
    for (auto _ : state) benchmark::DoNotOptimize(manager->getTelemetryAllowedSDKEventsList());
}
BENCHMARK(BM_GetTelemetryAllowedSDKEventsList_ServiceAbsent);

void BM_GetTelemetryAllowedSDKEventsList_ServiceUp(benchmark::State& state) {
    auto service =
            android::sp<dchost::HostDeviceConfigService>(new dchost::HostDeviceConfigService());
    if (dchost::publishHostDeviceConfigService(service) != android::OK) {
        state.SkipWithError("cannot publish the device-config service");
        return;
    }
    service->setProperty("halcyon_shared_os_services", gk::TelemetryAllowedSDKEventsList, "a;b;c");
    auto manager = makeManager();
    for (auto _ : state) benchmark::DoNotOptimize(manager->getTelemetryAllowedSDKEventsList());
    dchost::killHostDeviceConfigService();
}
BENCHMARK(BM_GetTelemetryAllowedSDKEventsList_ServiceUp);

}  // namespace
