#include <android/log.h>
#include <benchmark/benchmark.h>
#include <binder/IServiceManager.h>
#include <binder_host/HostBinder.h>
#include <deviceconfig/DeviceConfig.h>
#include <deviceconfig_host/HostDeviceConfigService.h>

namespace {

using android::sp;
using com::halcyon::deviceconfig::DeviceConfig;
using com::halcyon::deviceconfig::aidl::IDeviceConfig;
using com::halcyon::deviceconfig::aidl::Property;
using com::halcyon::deviceconfig::host::HostDeviceConfigService;
using com::halcyon::deviceconfig::host::killHostDeviceConfigService;
using com::halcyon::deviceconfig::host::publishHostDeviceConfigService;

constexpr const char* kNs = "halcyon_shared_os_services";

sp<HostDeviceConfigService> startService() {
    sp<HostDeviceConfigService> service = new HostDeviceConfigService();
    service->setProperty(kNs, "telemetry_config", "{\"events\":[\"a\",\"b\",\"c\"]}");
    service->setProperty(kNs, "other", "1");
    publishHostDeviceConfigService(service);
    return service;
}

// One getProperties transaction through the host driver: request, stub dispatch, reply.
void BM_GetPropertiesRoundTrip(benchmark::State& state) {
    sp<HostDeviceConfigService> service = startService();
    sp<IDeviceConfig> proxy =
            android::interface_cast<IDeviceConfig>(android::defaultServiceManager()->checkService(
                    android::String16("device_config_proxy")));
    const std::vector<std::string> keys{"telemetry_config"};
    std::vector<Property> result;
    for (auto _ : state) {
        proxy->getProperties(kNs, keys, &result);
        benchmark::DoNotOptimize(result.data());
    }
    killHostDeviceConfigService();
}
BENCHMARK(BM_GetPropertiesRoundTrip);

// The settings manager's per-update use: create, read one key, destroy.
void BM_CreateReadDestroyServiceUp(benchmark::State& state) {
    sp<HostDeviceConfigService> service = startService();
    for (auto _ : state) {
        DeviceConfig dc;
        std::string value =
                dc.getProperties(kNs, {"telemetry_config"}).getString("telemetry_config", "");
        benchmark::DoNotOptimize(value.data());
    }
    killHostDeviceConfigService();
}
BENCHMARK(BM_CreateReadDestroyServiceUp);

// With the service absent the destructor must cut the 1000 ms retry pause short.
void BM_CreateReadDestroyServiceAbsent(benchmark::State& state) {
    // Each read logs an error; keep the program's output readable.
    const int previous = __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    for (auto _ : state) {
        DeviceConfig dc;
        std::string value =
                dc.getProperties(kNs, {"telemetry_config"}).getString("telemetry_config", "default");
        benchmark::DoNotOptimize(value.data());
    }
    __android_log_set_minimum_priority(previous);
}
BENCHMARK(BM_CreateReadDestroyServiceAbsent);

}  // namespace
