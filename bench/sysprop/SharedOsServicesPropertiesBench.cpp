// Cost of one accessor call (one look-up and one read of the host property store), for
// comparison with a plain libbase GetProperty.

#include <sys/system_properties.h>
#include <sysprop/SharedOsServicesProperties.h>

#include <android-base/properties.h>
#include <benchmark/benchmark.h>

namespace props = halcyon::sysprop::SharedOsServicesProperties;

namespace {

constexpr char kPrefix[] = "persist.device_config.halcyon_shared_os_services.";

void BM_LibbaseGetProperty(benchmark::State& state) {
    const std::string key = std::string(kPrefix) + "halcyon_mobile_telemetry_enable_history_store";
    android::base::SetProperty(key, "true");
    for (auto _ : state) benchmark::DoNotOptimize(android::base::GetProperty(key, ""));
}
BENCHMARK(BM_LibbaseGetProperty);

void BM_BoolAccessorSet(benchmark::State& state) {
    android::base::SetProperty(
            std::string(kPrefix) + "halcyon_mobile_telemetry_enable_history_store", "true");
    for (auto _ : state) benchmark::DoNotOptimize(props::telemetry_enable_history_store());
}
BENCHMARK(BM_BoolAccessorSet);

void BM_BoolAccessorUnset(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(props::telemetry_enable_event_hc());
}
BENCHMARK(BM_BoolAccessorUnset);

void BM_IntAccessorSet(benchmark::State& state) {
    android::base::SetProperty(std::string(kPrefix) + "bracken_reserve_mb", "0x1F");
    for (auto _ : state) benchmark::DoNotOptimize(props::bracken_reserve_mb());
}
BENCHMARK(BM_IntAccessorSet);

void BM_StringAccessorSet(benchmark::State& state) {
    android::base::SetProperty(std::string(kPrefix) + "halcyon_telemetry_choice", "a,b");
    for (auto _ : state) benchmark::DoNotOptimize(props::halcyon_telemetry_choice());
}
BENCHMARK(BM_StringAccessorSet);

}  // namespace
