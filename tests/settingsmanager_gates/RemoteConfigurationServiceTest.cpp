#include "GatesTestSupport.h"

#include <LogCapture.h>

#include <android/log.h>
#include <deviceconfig_host/HostDeviceConfigService.h>

#include <chrono>
#include <thread>
#include <utility>
#include <vector>

namespace gatestest {
namespace {

using com::halcyon::deviceconfig::host::HostDeviceConfigService;
using com::halcyon::deviceconfig::host::killHostDeviceConfigService;
using com::halcyon::deviceconfig::host::publishHostDeviceConfigService;
using namespace std::chrono_literals;

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

TEST_F(RemoteConfigurationServiceTest, InitialLoadAndChangesAreMirroredAndServeALaterProcess) {
    const std::pair<const char*, const char*> remote[] = {
            {gk::TelemetryAllowedSDKEventsList, "s1;s2"},
            {gk::StatsdEventVerificationList, "v1"},
            {gk::RateLimiterConfig, "r"},
            {kQosOverrideKey, "q,true"},
            {kTravelModeOverrideKey, "t,true"},
    };
    for (const auto& [key, value] : remote) setRemote(key, value);
    store(gk::RateLimiterConfig, "stale");

    EXPECT_EQ(backed->getTelemetryAllowedSDKEventsList(), "s1;s2");
    EXPECT_EQ(backed->getStatsdVerificationEventsList(), StringSet{"v1"});
    EXPECT_EQ(backed->getRateLimiterConfig(), "r");
    backed->setTravelModeEnabled(true);
    EXPECT_EQ(backed->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"q", true}, {"t", true}}));

    for (const auto& [key, value] : remote) EXPECT_EQ(stored(key), value) << key;

    // A changed override string is mirrored and parsed again.
    setRemote(kQosOverrideKey, "a,false;b,true");
    EXPECT_EQ(backed->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"a", false}, {"b", true}, {"t", true}}));
    EXPECT_EQ(stored(kQosOverrideKey), "a,false;b,true");

    ASSERT_EQ(killHostDeviceConfigService(), android::OK);
    TelemetrySettingsManager restarted(nullptr, cache);
    EXPECT_EQ(restarted.getTelemetryAllowedSDKEventsList(), "s1;s2");
}

TEST_F(RemoteConfigurationServiceTest, UnsetKeysTakeDefaultsAndReadsMirrorChangedValuesOnly) {
    EXPECT_EQ(backed->getRateLimiterConfig(), "");
    EXPECT_EQ(backed->getTelemetryAllowedSDKEventsList(), kDefaultAllowedSdkEventsList);
    EXPECT_EQ(stored(gk::TelemetryAllowedSDKEventsList), kDefaultAllowedSdkEventsList);
    // An empty default equals the empty cached string: nothing to mirror.
    EXPECT_EQ(stored(gk::RateLimiterConfig), std::nullopt);
    EXPECT_EQ(stored(kQosOverrideKey), std::nullopt);
    EXPECT_TRUE(stored(kTravelModeOverrideKey).has_value());
    EXPECT_TRUE(backed->getLowLatencyOverrideList().empty());
    cache->clearCalls();

    setRemote(gk::RateLimiterConfig, "r1");
    EXPECT_EQ(backed->getRateLimiterConfig(), "r1");
    EXPECT_EQ(backed->getRateLimiterConfig(), "r1");
    EXPECT_EQ(cache->countCalls("set"), 1u);
    EXPECT_EQ(stored(gk::RateLimiterConfig), "r1");

    // A value that disappears remotely keeps the cached one.
    service->removeProperty(kNamespace, gk::RateLimiterConfig);
    EXPECT_EQ(backed->getRateLimiterConfig(), "r1");
    EXPECT_EQ(cache->countCalls("set"), 1u);

    // A refused mirror write is logged and the value still changes.
    testsupport::LogCapture logs;
    cache->refuseWrites(true);
    setRemote(gk::RateLimiterConfig, "r2");
    EXPECT_EQ(backed->getRateLimiterConfig(), "r2");
    EXPECT_EQ(stored(gk::RateLimiterConfig), "r1");
    EXPECT_EQ(logs.count(ANDROID_LOG_ERROR, "telemetry",
                         std::string("Failed to cache ") + gk::RateLimiterConfig +
                                 " value to kvstore"),
              1u);
}

TEST_F(RemoteConfigurationServiceTest, ValuesFreezeWhileTheServiceIsGoneAndRefreshWhenItReturns) {
    setRemote(gk::StatsdEventVerificationList, "v1");
    hostproperties::setProperty(gateRows()[6].property, "1");
    EXPECT_TRUE(backed->isEventInVerification("v1"));

    setRemote(gk::StatsdEventVerificationList, "v2");
    ASSERT_EQ(killHostDeviceConfigService(), android::OK);
    EXPECT_TRUE(backed->isEventInVerification("v1"));
    EXPECT_FALSE(backed->isEventInVerification("v2"));

    ASSERT_EQ(publishHostDeviceConfigService(service), android::OK);
    EXPECT_EQ(backed->getVerificationStatus(), std::make_pair(true, StringSet{"v2"}));
}

// Readers of every kind run on several threads, against two instances (which share the
// process-wide low-latency state), while the remote values and gate properties change and
// the device-config service dies and comes back. Passing means no deadlock, no crash, and
// (under the sanitizers) no race.
TEST(GatesConcurrencyTest, ReadersSurviveChangingValuesAndAFlappingService) {
    setAllGateProperties("");
    auto service = android::sp<HostDeviceConfigService>(new HostDeviceConfigService());
    ASSERT_EQ(publishHostDeviceConfigService(service), android::OK);
    service->setProperty(kNamespace, kQosOverrideKey, "a,true");

    TelemetrySettingsManager first(nullptr, std::make_shared<FakeStorageCache>());
    TelemetrySettingsManager second(nullptr, std::make_shared<FakeStorageCache>());
    std::atomic<bool> stop{false};
    std::atomic<int> rounds{0};

    std::vector<std::thread> readers;
    for (TelemetrySettingsManager* manager : {&first, &second}) {
        readers.emplace_back([manager, &stop, &rounds] {
            while (!stop) {
                for (const GateRow& row : gateRows()) manager->getGKFlag(row.constant);
                manager->getGKFlag("not_a_gate");
                ++rounds;
            }
        });
        readers.emplace_back([manager, &stop] {
            while (!stop) {
                manager->getTelemetryAllowedSDKEventsList();
                manager->getVerificationStatus();
                manager->isEventInVerification("v1");
                manager->getRateLimiterConfig();
            }
        });
        readers.emplace_back([manager, &stop] {
            bool travel = false;
            while (!stop) {
                manager->setTravelModeEnabled(travel = !travel);
                const LowLatencyOverrideMap overrides = manager->getLowLatencyOverrideList();
                EXPECT_TRUE(overrides.empty() || overrides.size() < 64u);
                manager->setLowLatencyOverrideSettings(kTravelModeOverrideKey,
                                                       travel ? "t,true" : "t,false");
                manager->getLowLatencyAllowList();
            }
        });
    }
    // Lets the gate readers finish a few rounds against the current values.
    auto waitForRounds = [&rounds] {
        const int target = rounds + 4;
        while (rounds < target) std::this_thread::yield();
    };
    std::thread refresher([&first, &stop] {
        while (!stop) {
            first.updateGkValues();
            std::this_thread::yield();
        }
    });

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
    for (auto& reader : readers) reader.join();
    refresher.join();
    EXPECT_GT(rounds.load(), 0);

    // Everything settles to the final remote values once the churn stops.
    service->setProperty(kNamespace, kQosOverrideKey, "z,true");
    first.setTravelModeEnabled(false);
    EXPECT_EQ(first.getLowLatencyOverrideList(), (LowLatencyOverrideMap{{"z", true}}));
    killHostDeviceConfigService();
}

}  // namespace
}  // namespace gatestest
