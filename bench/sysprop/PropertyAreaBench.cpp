// Reads of the host device's shared property area, beside libbase's own in-process map (its
// GetProperty before this library interposes it) as the floor, in the same run; x8 is the
// throughput of 8 reader threads over one. The process runs a property service and reads its
// area as any client does.

#include <dlfcn.h>
#include <sys/system_properties.h>

#include <android-base/file.h>
#include <android-base/properties.h>
#include <BenchSupport.h>
#include <benchmark/benchmark.h>
#include <hostproperties/PropertyService.h>

#include <cstdlib>
#include <string>

namespace {

constexpr char kName[] =
        "persist.device_config.halcyon_shared_os_services.halcyon_mobile_telemetry_enable_"
        "history_store";

using GetPropertyFn = std::string (*)(const std::string&, const std::string&);
using SetPropertyFn = bool (*)(const std::string&, const std::string&);
GetPropertyFn gLibbaseGet = nullptr;

void onValue(void* cookie, const char*, const char* value, uint32_t) {
    *static_cast<char*>(cookie) = value[0];
}

char findAndRead(const char* name) {
    char first = 0;
    __system_property_read_callback(__system_property_find(name), onValue, &first);
    return first;
}

void BM_FindReadCallback(benchmark::State& state) {
    const long before = benchsupport::allocations();
    for (auto _ : state) benchmark::DoNotOptimize(findAndRead(kName));
    state.counters["allocs_per_read"] =
            double(benchsupport::allocations() - before) / double(state.iterations());
    auto read = [] { benchmark::DoNotOptimize(findAndRead(kName)); };
    state.counters["x8"] = benchsupport::eightThreadScaling(read, 300000);
}
BENCHMARK(BM_FindReadCallback);

void BM_SystemPropertyGet(benchmark::State& state) {
    char value[PROP_VALUE_MAX];
    for (auto _ : state) benchmark::DoNotOptimize(__system_property_get(kName, value));
}
BENCHMARK(BM_SystemPropertyGet);

void BM_GetPropertyOnArea(benchmark::State& state) {
    const std::string name = kName;
    const std::string fallback;
    for (auto _ : state) benchmark::DoNotOptimize(android::base::GetProperty(name, fallback));
}
BENCHMARK(BM_GetPropertyOnArea);

// The floor: libbase's GetProperty on its own map, reached past the interposition.
void BM_LibbaseOwnMapGetProperty(benchmark::State& state) {
    const std::string name = kName;
    const std::string fallback;
    for (auto _ : state) benchmark::DoNotOptimize(gLibbaseGet(name, fallback));
}
BENCHMARK(BM_LibbaseOwnMapGetProperty);

}  // namespace

int main(int argc, char** argv) {
    // libbase's own functions, found in libbase itself rather than by global resolution.
    void* libbase = dlopen("libbase.so.0", RTLD_NOW | RTLD_NOLOAD);
    gLibbaseGet = reinterpret_cast<GetPropertyFn>(
            dlsym(libbase,
                  "_ZN7android4base11GetPropertyERKNSt7__cxx1112basic_stringIcSt11char_"
                  "traitsIcESaIcEEES8_"));
    auto libbaseSet = reinterpret_cast<SetPropertyFn>(
            dlsym(libbase,
                  "_ZN7android4base11SetPropertyERKNSt7__cxx1112basic_stringIcSt11char_"
                  "traitsIcESaIcEEES8_"));
    if (gLibbaseGet == nullptr || libbaseSet == nullptr ||
        gLibbaseGet == &android::base::GetProperty) {
        fprintf(stderr, "cannot reach libbase's own property functions\n");
        return 1;
    }

    TemporaryDir dir;
    std::string error;
    auto service = hostproperties::PropertyService::start(dir.path, dir.path, &error);
    if (service == nullptr) {
        fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    setenv("HALCYON_HOST_DEVICE", dir.path, 1);
    // A device-sized population in both stores, so neither lookup runs on a tiny table.
    for (int i = 0; i < 500; ++i) {
        const std::string name = "persist.device_config.bench_namespace.flag_" + std::to_string(i);
        service->set(name, "1");
        libbaseSet(name, "1");
    }
    service->set(kName, "true");
    libbaseSet(kName, "true");
    if (findAndRead(kName) != 't') {
        fprintf(stderr, "the shared area does not answer\n");
        return 1;
    }

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    service->stop();
    return 0;
}
