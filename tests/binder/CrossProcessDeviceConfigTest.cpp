// The device-config client against a device-config service in another process: reads,
// listener calls, reconnection after the service process is killed, and a storm of kills and
// restarts under concurrent readers.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <binder/IServiceManager.h>
#include <binder_host/HostBinder.h>
#include <deviceconfig/BinderClient.h>
#include <deviceconfig/DeviceConfig.h>
#include <deviceconfig_host/HostDeviceConfigService.h>

#include "WaitUntil.h"
#include "HelperProcess.h"

namespace {

using com::halcyon::deviceconfig::DeviceConfig;
using com::halcyon::deviceconfig::OnPropertiesChangeListener;
using com::halcyon::deviceconfig::Properties;
using com::halcyon::deviceconfig::aidl::IDeviceConfig;
using testsupport::waitUntil;
using namespace crossprocess;
using namespace std::chrono_literals;

size_t openDescriptors() {
    using std::filesystem::directory_iterator;
    return static_cast<size_t>(std::distance(directory_iterator("/proc/self/fd"), {}));
}

// A device-config service process holding one NS/KEY=VALUE entry.
std::unique_ptr<HelperProcess> startService(const std::string& entry) {
    auto service = std::make_unique<HelperProcess>(helper({"deviceconfig", entry}));
    EXPECT_EQ("ready", service->readLine());
    return service;
}

class Recorder : public OnPropertiesChangeListener {
public:
    void onPropertiesChanged(const Properties& properties) override {
        std::lock_guard<std::mutex> guard(mLock);
        mLast = properties.getString("key", "");
    }
    std::string last() {
        std::lock_guard<std::mutex> guard(mLock);
        return mLast;
    }

private:
    std::mutex mLock;
    std::string mLast;
};

TEST(CrossProcessDeviceConfig, ReadsListensAndReconnectsAcrossServiceProcesses) {
    auto service = startService("ns/key=one");
    DeviceConfig config;
    EXPECT_EQ("one", config.getProperties("ns", {"key"}).getString("key", "default"));

    // Kept for the whole process: the service may call it at any time.
    static auto* const recorder = new std::shared_ptr<Recorder>(std::make_shared<Recorder>());
    config.addOnPropertiesChangeListener("ns", *recorder);
    ASSERT_TRUE(service->writeLine("set ns key two"));
    ASSERT_EQ("ok", service->readLine());
    EXPECT_TRUE(waitUntil([&] { return (*recorder)->last() == "two"; }, 30s));

    std::atomic<int> connected{0};
    std::atomic<int> disconnected{0};
    Tamar::OS::BinderClient<IDeviceConfig> client(
            com::halcyon::deviceconfig::host::kDeviceConfigServiceName, 20ms,
            [&](const android::sp<IDeviceConfig>&) { ++connected; }, [&] { ++disconnected; });
    EXPECT_EQ(1, connected.load());
    service->kill();
    EXPECT_TRUE(waitUntil([&] { return disconnected.load() == 1; }, 30s));
    EXPECT_EQ(nullptr, client.getService());
    EXPECT_EQ("default", config.getProperties("ns", {"key"}).getString("key", "default"));

    service = startService("ns/key=three");
    EXPECT_TRUE(waitUntil([&] { return connected.load() == 2; }, 30s));
    std::vector<com::halcyon::deviceconfig::aidl::Property> result;
    const android::sp<IDeviceConfig> reconnected = client.getService();
    ASSERT_NE(nullptr, reconnected);
    ASSERT_TRUE(reconnected->getProperties("ns", {"key"}, &result).isOk());
    ASSERT_EQ(1u, result.size());
    EXPECT_EQ("three", result[0].value);
}

TEST(CrossProcessDeviceConfig, ADeathStormLeavesReadersAnsweringAndNothingBehind) {
    constexpr int kCycles = 1000;
    {
        // The first contact opens what stays open for the process (service manager channel).
        auto service = startService("ns/key=value");
        DeviceConfig warmUp;
        ASSERT_EQ("value", warmUp.getProperties("ns", {"key"}).getString("key", "default"));
        service->kill();
        ASSERT_TRUE(waitUntil(
                [] {
                    return android::defaultServiceManager()->checkService(android::String16(
                                   com::halcyon::deviceconfig::host::kDeviceConfigServiceName)) ==
                           nullptr;
                },
                30s));
    }
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
                for (int read = 0; read < 8 && !stop; ++read) {
                    const std::string value =
                            config.getProperties("ns", {"key"}).getString("key", "default");
                    if (value == "value") {
                        ++served;
                    } else if (value != "default") {
                        ++wrong;
                    }
                    ++reads;
                }
            }
        });
    }
    const auto start = std::chrono::steady_clock::now();
    auto storm = std::make_unique<HelperProcess>(
            helper({"storm", std::to_string(kCycles), "ns/key=value"}));
    const std::string outcome = storm->readLine(std::chrono::seconds(900));
    const auto seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    stop = true;
    for (std::thread& reader : readers) reader.join();
    ASSERT_EQ("done", outcome);
    EXPECT_EQ(0, storm->wait());
    storm.reset();
    EXPECT_EQ(0, wrong.load());
    std::printf("death storm: %d cycles in %.1f s, %d reads (%d from the service)\n", kCycles,
                seconds, reads.load(), served.load());

    EXPECT_TRUE(waitUntil([] { return android::hostbinder::nodeCount() == 0; }, 30s));
    // A connection the client had before the storm may since have closed; none may be left over.
    EXPECT_TRUE(waitUntil([&] { return openDescriptors() <= descriptorsBefore; }, 30s))
            << openDescriptors() << " descriptors open, " << descriptorsBefore << " before";
}

}  // namespace
