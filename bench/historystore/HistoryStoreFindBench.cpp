#include <telemetry/historystore/HistoryStore.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>
#include <optional>

namespace {

using Tamar::OS::Telemetry::HistoryStore;
using time_point = std::chrono::steady_clock::time_point;

time_point at(int64_t nanos) {
    return time_point(std::chrono::nanoseconds(nanos));
}

// A store of `entries` user-less values, one per microsecond.
void fill(HistoryStore<int>& store, int64_t entries) {
    for (int64_t i = 0; i < entries; ++i) store.insert(at(i * 1000), int(i));
}

// The usual query: an event of the present asks for the value in force now.
void BM_FindNewestInstant(benchmark::State& state) {
    const int64_t entries = state.range(0);
    HistoryStore<int> store("bench");
    fill(store, entries);
    const time_point newest = at((entries - 1) * 1000);
    for (auto _ : state) {
        benchmark::DoNotOptimize(store.find(newest, std::nullopt));
    }
}

// An old event: the instant is older than 99% of the entries.
void BM_FindPastInstant(benchmark::State& state) {
    const int64_t entries = state.range(0);
    HistoryStore<int> store("bench");
    fill(store, entries);
    const time_point past = at(entries / 100 * 1000);
    for (auto _ : state) {
        benchmark::DoNotOptimize(store.find(past, std::nullopt));
    }
}

BENCHMARK(BM_FindNewestInstant)->Arg(10)->Arg(1000)->Arg(100000);
BENCHMARK(BM_FindPastInstant)->Arg(10)->Arg(1000)->Arg(100000);

}  // namespace
