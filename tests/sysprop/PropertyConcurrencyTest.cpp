// Readers and writers of the host property store on many threads at once. Run under
// ThreadSanitizer this also checks the handle table and the store lock.

#include <sys/system_properties.h>
#include <sysprop/SharedOsServicesProperties.h>

#include <gtest/gtest.h>
#include <hostproperties/PropertyStore.h>

#include <atomic>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace props = halcyon::sysprop::SharedOsServicesProperties;

namespace {

#define P "persist.device_config.halcyon_shared_os_services."
constexpr char kBoolKey[] = P "halcyon_mobile_telemetry_enable_history_store";
constexpr char kStringKey[] = P "halcyon_telemetry_choice";

// Longer than the small-string buffer, so a torn copy would show.
const std::string kLongA(100, 'a');
const std::string kLongB(120, 'b');

TEST(PropertyConcurrency, ReadersSeeOnlyWholeValuesWhileWritersChangeThem) {
    ASSERT_TRUE(hostproperties::setProperty(kBoolKey, "true"));
    ASSERT_TRUE(hostproperties::setProperty(kStringKey, kLongA));

    std::atomic<bool> stop{false};
    std::atomic<int> badReads{0};
    std::vector<std::thread> threads;
    for (int w = 0; w < 2; ++w) {
        threads.emplace_back([&, w] {
            for (int i = 0; i < 2000; ++i) {
                const bool odd = (i + w) % 2 != 0;
                hostproperties::setProperty(kBoolKey, odd ? "FALSE" : "1");
                hostproperties::setProperty(kStringKey, odd ? kLongB : kLongA);
                // New keys grow the map while others read it.
                hostproperties::setProperty(
                        "test.grow." + std::to_string(w) + "." + std::to_string(i), "x");
            }
        });
    }
    for (int r = 0; r < 3; ++r) {
        threads.emplace_back([&] {
            while (!stop.load()) {
                if (!props::telemetry_enable_history_store().has_value()) ++badReads;
                const auto text = props::halcyon_telemetry_choice();
                if (text != kLongA && text != kLongB) ++badReads;
            }
        });
    }
    for (int w = 0; w < 2; ++w) threads[w].join();
    stop = true;
    for (size_t t = 2; t < threads.size(); ++t) threads[t].join();
    EXPECT_EQ(badReads.load(), 0);
}

TEST(PropertyConcurrency, ConcurrentLookupsShareOneHandlePerName) {
    constexpr int kNames = 64;
    constexpr int kThreads = 4;
    for (int n = 0; n < kNames; ++n)
        ASSERT_TRUE(hostproperties::setProperty("test.intern." + std::to_string(n), "v"));
    const prop_info* seen[kThreads][kNames] = {};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            // Opposite orders so threads race to intern the same names.
            for (int i = 0; i < kNames; ++i) {
                const int n = t % 2 == 0 ? i : kNames - 1 - i;
                seen[t][n] = __system_property_find(("test.intern." + std::to_string(n)).c_str());
            }
        });
    }
    for (auto& thread : threads) thread.join();
    for (int n = 0; n < kNames; ++n) {
        ASSERT_NE(seen[0][n], nullptr);
        for (int t = 1; t < kThreads; ++t) EXPECT_EQ(seen[t][n], seen[0][n]) << n;
    }
}

}  // namespace
