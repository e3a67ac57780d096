#pragma once

// Timing helpers shared by the benchmark programs: calls per nanosecond on a chosen clock, the
// throughput of 8 threads over one, and a count of operator new calls (replaced in
// CountingNew.cpp for every program that links bench_support).

#include <time.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

namespace benchsupport {

// operator new calls made so far by the whole process.
long allocations();

inline double nanosNow(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return double(now.tv_sec) * 1e9 + double(now.tv_nsec);
}

// On CLOCK_THREAD_CPUTIME_ID the time other processes hold the core is not counted, which
// keeps the ratios of the short calls steady on a loaded machine.
template <typename Call>
double nanosPerCall(Call& call, int64_t n, clockid_t clock = CLOCK_MONOTONIC) {
    const double start = nanosNow(clock);
    for (int64_t i = 0; i < n; ++i) call();
    return (nanosNow(clock) - start) / double(n);
}

// Throughput of 8 threads over that of one, best of 3 rounds. Each thread's calls are timed on
// its own CPU clock and the 8 are taken to share the machine's cores, so that other processes
// on a loaded machine do not count; contention (shared cache lines, lock hand-offs, futex
// calls) does.
template <typename Call>
double eightThreadScaling(Call& call, int64_t n) {
    const double cores = std::min(8u, std::max(1u, std::thread::hardware_concurrency()));
    double single = 0, together = 0;
    for (int round = 0; round < 3; ++round) {
        single = std::max(single, 1.0 / nanosPerCall(call, n, CLOCK_THREAD_CPUTIME_ID));
        std::atomic<bool> go{false};
        std::atomic<double> nanos{0};
        std::vector<std::thread> threads;
        for (int t = 0; t < 8; ++t) {
            threads.emplace_back([&] {
                while (!go.load()) std::this_thread::yield();
                nanos.fetch_add(nanosPerCall(call, n, CLOCK_THREAD_CPUTIME_ID) * double(n));
            });
        }
        go.store(true);
        for (auto& thread : threads) thread.join();
        together = std::max(together, cores * 8.0 * double(n) / nanos.load());
    }
    return together / single;
}

}  // namespace benchsupport
