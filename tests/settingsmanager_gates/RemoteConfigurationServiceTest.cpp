#include "GatesTestSupport.h"

#include <LogCapture.h>
#include <WaitUntil.h>

#include <android/log.h>
#include <deviceconfig_host/HostDeviceConfigService.h>

#include <thread>
#include <utility>
#include <vector>

namespace gatestest {
namespace {

using com::halcyon::deviceconfig::host::HostDeviceConfigService;
using com::halcyon::deviceconfig::host::killHostDeviceConfigService;
using com::halcyon::deviceconfig::host::publishHostDeviceConfigService;

// `backed` uses the manager's own service probe, so the published service is really looked up.
class RemoteConfigurationServiceTest : public GatesTest {
protected:
    void SetUp() override {
        ASSERT_EQ(publishHostDeviceConfigService(service), android::OK);
        backed = std::make_unique<TelemetrySettingsManager>(nullptr, cache);
    }
    void TearDown() override { killHostDeviceConfigService(); }

    void setRemote(const char* key, const std::string& value) {
        service->setProperty(kNamespace, key, value);
    }

    android::sp<HostDeviceConfigService> service{new HostDeviceConfigService()};
    std::unique_ptr<TelemetrySettingsManager> backed;
};

// Remote values are mirrored into the store, freeze while the service is gone, refresh when it
// returns, and serve a manager started without the service.
TEST_F(RemoteConfigurationServiceTest, RemoteValuesAreMirroredFrozenWhileGoneAndServeLaterStarts) {
    const std::pair<const char*, const char*> remote[] = {
            {gk::TelemetryAllowedSDKEventsList, "s1;s2"},
            {gk::StatsdEventVerificationList, "v1"},
            {gk::RateLimiterConfig, "r"},
            {kQosOverrideKey, "q,true"},
            {kTravelModeOverrideKey, "t,true"},
    };
    for (const auto& [key, value] : remote) setRemote(key, value);
    cache->put(gk::RateLimiterConfig, "stale");
    hostproperties::setProperty(gateRows()[6].property, "1");

    EXPECT_EQ(backed->getTelemetryAllowedSDKEventsList(), "s1;s2");
    EXPECT_TRUE(backed->isEventInVerification("v1"));
    EXPECT_EQ(backed->getRateLimiterConfig(), "r");
    backed->setTravelModeEnabled(true);
    EXPECT_EQ(backed->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"q", true}, {"t", true}}));
    for (const auto& [key, value] : remote) EXPECT_EQ(cache->stored(key), value) << key;

    // A changed override string is mirrored and parsed again.
    setRemote(kQosOverrideKey, "a,false;b,true");
    EXPECT_EQ(backed->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"a", false}, {"b", true}, {"t", true}}));
    EXPECT_EQ(cache->stored(kQosOverrideKey), "a,false;b,true");

    setRemote(gk::StatsdEventVerificationList, "v2");
    ASSERT_EQ(killHostDeviceConfigService(), android::OK);
    EXPECT_TRUE(backed->isEventInVerification("v1"));
    EXPECT_FALSE(backed->isEventInVerification("v2"));
    TelemetrySettingsManager restarted(nullptr, cache);
    EXPECT_EQ(restarted.getTelemetryAllowedSDKEventsList(), "s1;s2");

    ASSERT_EQ(publishHostDeviceConfigService(service), android::OK);
    EXPECT_EQ(backed->getVerificationStatus(), std::make_pair(true, StringSet{"v2"}));
}

TEST_F(RemoteConfigurationServiceTest, UnsetKeysTakeDefaultsAndReadsMirrorChangedValuesOnly) {
    EXPECT_EQ(backed->getRateLimiterConfig(), "");
    EXPECT_EQ(backed->getTelemetryAllowedSDKEventsList(), kDefaultAllowedSdkEventsList);
    EXPECT_EQ(cache->stored(gk::TelemetryAllowedSDKEventsList), kDefaultAllowedSdkEventsList);
    // An empty default equals the empty cached string: nothing to mirror.
    EXPECT_EQ(cache->stored(gk::RateLimiterConfig), std::nullopt);
    EXPECT_EQ(cache->stored(kQosOverrideKey), std::nullopt);
    EXPECT_TRUE(cache->stored(kTravelModeOverrideKey).has_value());
    EXPECT_TRUE(backed->getLowLatencyOverrideList().empty());
    cache->clearCalls();

    setRemote(gk::RateLimiterConfig, "r1");
    EXPECT_EQ(backed->getRateLimiterConfig(), "r1");
    EXPECT_EQ(backed->getRateLimiterConfig(), "r1");
    // A value that disappears remotely keeps the cached one.
    service->removeProperty(kNamespace, gk::RateLimiterConfig);
    EXPECT_EQ(backed->getRateLimiterConfig(), "r1");
    EXPECT_EQ(cache->countCalls("set"), 1u);
    EXPECT_EQ(cache->stored(gk::RateLimiterConfig), "r1");

    // A refused mirror write is logged and the value still changes.
    testsupport::LogCapture logs;
    cache->refuseWrites(true);
    setRemote(gk::RateLimiterConfig, "r2");
    EXPECT_EQ(backed->getRateLimiterConfig(), "r2");
    EXPECT_EQ(cache->stored(gk::RateLimiterConfig), "r1");
    EXPECT_EQ(logs.count(ANDROID_LOG_ERROR, "telemetry",
                         std::string("Failed to cache ") + gk::RateLimiterConfig +
                                 " value to kvstore"),
              1u);
}

// Readers of every kind run on several threads, against two instances (which share the
// process-wide low-latency state), while the remote values and gate properties change and
// the device-config service dies and comes back. Passing means no deadlock, no crash, and
// (under the sanitizers) no race.
TEST_F(RemoteConfigurationServiceTest, ReadersSurviveChangingValuesAndAFlappingService) {
    setAllGateProperties("");
    TelemetrySettingsManager& first = *backed;
    TelemetrySettingsManager second(nullptr, std::make_shared<FakeStorageCache>());
    std::atomic<bool> stop{false};
    std::atomic<int> rounds{0};

    std::vector<std::thread> threads;
    for (TelemetrySettingsManager* manager : {&first, &second}) {
        threads.emplace_back([manager, &stop, &rounds] {
            for (bool travel = false; !stop; travel = !travel) {
                for (const GateRow& row : gateRows()) manager->getGKFlag(row.constant);
                manager->getTelemetryAllowedSDKEventsList();
                manager->getVerificationStatus();
                manager->isEventInVerification("v1");
                manager->getRateLimiterConfig();
                manager->setTravelModeEnabled(travel);
                EXPECT_LT(manager->getLowLatencyOverrideList().size(), 64u);
                manager->setLowLatencyOverrideSettings(kTravelModeOverrideKey,
                                                       travel ? "t,true" : "t,false");
                manager->getLowLatencyAllowList();
                ++rounds;
            }
        });
    }
    threads.emplace_back([&first, &stop] {
        while (!stop) first.updateGkValues();
    });
    // Lets the readers finish a few rounds against the current values.
    const auto waitForRounds = [&rounds] {
        const int target = rounds + 4;
        EXPECT_TRUE(testsupport::waitUntil([&] { return rounds >= target; }));
    };
    for (int i = 0; i < 40; ++i) {
        service->setProperty(kNamespace, kQosOverrideKey, i % 2 ? "a,true" : "a,false;b,true");
        service->setProperty(kNamespace, gk::StatsdEventVerificationList,
                             "v" + std::to_string(i % 3));
        setAllGateProperties(i % 2 ? "1" : "0");
        if (i % 10 == 5) {
            ASSERT_EQ(killHostDeviceConfigService(), android::OK);
            waitForRounds();  // readers meet the missing service
            ASSERT_EQ(publishHostDeviceConfigService(service), android::OK);
        }
        waitForRounds();
    }
    stop = true;
    for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace gatestest
