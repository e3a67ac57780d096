// The device-config client's readers while a service process in another process is started
// and SIGKILLed a thousand times; alone in its program, so its descriptor count starts clean.

#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <binder/IServiceManager.h>
#include <binder_host/HostBinder.h>
#include <deviceconfig/DeviceConfig.h>
#include <deviceconfig_host/HostDeviceConfigService.h>

#include "HelperProcess.h"
#include "WaitUntil.h"

namespace {

using namespace crossprocess;
using namespace std::chrono_literals;
using testsupport::waitUntil;

const android::String16 kName(com::halcyon::deviceconfig::host::kDeviceConfigServiceName);

size_t openDescriptors() {
    using std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(directory_iterator("/proc/self/fd"), {}));
}

TEST(DeathStorm, DeviceConfigReadersKeepAnsweringAndNothingIsLeftBehind) {
    using com::halcyon::deviceconfig::DeviceConfig;
    constexpr int kCycles = 1000;
    const auto read = [](DeviceConfig& config) {
        return config.getProperties("ns", {"key"}).getString("key", "default");
    };
    {
        // The first contact opens what stays open for the process (service manager channel).
        HelperProcess service(helper({"deviceconfig"}));
        ASSERT_EQ("ready", service.readLine());
        DeviceConfig warmUp;
        ASSERT_EQ("value", read(warmUp));
    }
    ASSERT_TRUE(waitUntil(
            [] { return android::defaultServiceManager()->checkService(kName) == nullptr; }, 30s));
    ASSERT_TRUE(waitUntil([] { return android::hostbinder::nodeCount() == 0; }, 30s));
    const size_t descriptorsBefore = openDescriptors();

    std::atomic<bool> stop{false};
    std::atomic<int> reads{0};
    std::atomic<int> served{0};
    std::atomic<int> wrong{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 4; ++i) {
        readers.emplace_back([&] {
            while (!stop) {
                DeviceConfig config;
                for (int n = 0; n < 8 && !stop; ++n, ++reads) {
                    const std::string value = read(config);
                    served += value == "value";
                    wrong += value != "value" && value != "default";
                }
            }
        });
    }
    const auto start = std::chrono::steady_clock::now();
    auto storm = std::make_unique<HelperProcess>(helper({"storm", std::to_string(kCycles)}));
    const std::string outcome = storm->readLine(900s);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    stop = true;
    for (std::thread& reader : readers) reader.join();
    ASSERT_EQ("done", outcome);
    EXPECT_EQ(0, storm->wait());
    storm.reset();  // its pipe is one of the descriptors counted below
    EXPECT_EQ(0, wrong.load());
    std::printf("death storm: %d cycles in %.1f s, %d reads (%d from the service)\n", kCycles,
                took.count(), reads.load(), served.load());

    EXPECT_TRUE(waitUntil([] { return android::hostbinder::nodeCount() == 0; }, 30s));
    // A connection the client had before the storm may since have closed; none may be left over.
    EXPECT_TRUE(waitUntil([&] { return openDescriptors() <= descriptorsBefore; }, 30s))
            << openDescriptors() << " descriptors open, " << descriptorsBefore << " before";
}

}  // namespace
