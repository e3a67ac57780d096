// Readers and a writer of the property area on many threads at once; under ThreadSanitizer
// this also checks that readers and the writer never race.

#include <sys/system_properties.h>
#include <sysprop/SharedOsServicesProperties.h>

#include <gtest/gtest.h>
#include <hostproperties/PropertyStore.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace props = halcyon::sysprop::SharedOsServicesProperties;

namespace {

#define P "persist.device_config.halcyon_shared_os_services."
constexpr char kBoolKey[] = P "halcyon_mobile_telemetry_enable_history_store";
constexpr char kStringKey[] = P "halcyon_telemetry_choice";

// Different lengths and contents, so a value torn between them, or cut at the wrong length,
// shows.
const std::string kLongA(PROP_VALUE_MAX - 1, 'a');
const std::string kShortB(37, 'b');

TEST(PropertyConcurrency, ReadersSeeOnlyWholeValuesWhileTheWriterChangesAndAddsThem) {
    ASSERT_TRUE(hostproperties::setProperty(kBoolKey, "true"));
    ASSERT_TRUE(hostproperties::setProperty(kStringKey, kLongA));
    constexpr int kAdded = 1500;

    std::atomic<bool> stop{false};
    std::atomic<int> badReads{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < 3; ++r) {
        readers.emplace_back([&, r] {
            for (int round = 0; !stop.load(); ++round) {
                if (!props::telemetry_enable_history_store().has_value()) ++badReads;
                const auto text = props::halcyon_telemetry_choice();
                if (text != kLongA && text != kShortB) ++badReads;
                // Lookups race the writer's additions: a found name is whole and correct.
                const std::string name = "test.grow." + std::to_string((round * 7 + r) % kAdded);
                const prop_info* info = __system_property_find(name.c_str());
                if (info == nullptr) continue;
                std::pair<std::string, std::string> read;
                __system_property_read_callback(
                        info,
                        [](void* cookie, const char* n, const char* v, uint32_t) {
                            *static_cast<std::pair<std::string, std::string>*>(cookie) = {n, v};
                        },
                        &read);
                if (read.first != name || read.second != "x") ++badReads;
            }
        });
    }
    for (int i = 0; i < kAdded; ++i) {
        const bool odd = i % 2 != 0;
        ASSERT_TRUE(hostproperties::setProperty(kBoolKey, odd ? "FALSE" : "1"));
        ASSERT_TRUE(hostproperties::setProperty(kStringKey, odd ? kShortB : kLongA));
        ASSERT_TRUE(hostproperties::setProperty("test.grow." + std::to_string(i), "x"));
    }
    stop = true;
    for (auto& thread : readers) thread.join();
    EXPECT_EQ(badReads.load(), 0);
}

}  // namespace
