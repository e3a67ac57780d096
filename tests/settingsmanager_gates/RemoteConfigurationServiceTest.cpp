#include "GatesTestSupport.h"

#include <LogCapture.h>

#include <android/log.h>
#include <deviceconfig_host/HostDeviceConfigService.h>
#include <telemetry/settingsmanager/RemoteConfigKeys.h>

namespace gatestest {
namespace {

using com::halcyon::deviceconfig::host::HostDeviceConfigService;
using com::halcyon::deviceconfig::host::killHostDeviceConfigService;
using com::halcyon::deviceconfig::host::publishHostDeviceConfigService;
using Tamar::OS::Telemetry::kDefaultAllowedSdkEventsList;
using Tamar::OS::Telemetry::kQosOverrideKey;
using Tamar::OS::Telemetry::kTravelModeOverrideKey;
using StringSet = std::unordered_set<std::string>;

constexpr char kNamespace[] = "halcyon_shared_os_services";

// Uses the manager's own service probe, so the published service is really looked up.
class ServiceBackedManager : public TelemetrySettingsManager {
public:
    explicit ServiceBackedManager(std::shared_ptr<IStorageCache> cache)
        : TelemetrySettingsManager(nullptr, std::move(cache)) {}
};

class RemoteConfigurationServiceTest : public GatesTest {
protected:
    void SetUp() override {
        GatesTest::SetUp();
        service = android::sp<HostDeviceConfigService>(new HostDeviceConfigService());
        ASSERT_EQ(publishHostDeviceConfigService(service), android::OK);
        backed = std::make_unique<ServiceBackedManager>(cache);
    }
    void TearDown() override { killHostDeviceConfigService(); }

    void setRemote(const char* key, const std::string& value) {
        service->setProperty(kNamespace, key, value);
    }

    android::sp<HostDeviceConfigService> service;
    std::unique_ptr<ServiceBackedManager> backed;
};

TEST_F(RemoteConfigurationServiceTest, InitialLoadComesFromTheServiceAndIsMirrored) {
    setRemote(gk::TelemetryAllowedSDKEventsList, "s1;s2");
    setRemote(gk::StatsdEventVerificationList, "v1");
    setRemote(gk::RateLimiterConfig, "r");
    setRemote(kQosOverrideKey, "q,true");
    setRemote(kTravelModeOverrideKey, "t,true");
    store(gk::RateLimiterConfig, "stale");

    EXPECT_EQ(backed->getTelemetryAllowedSDKEventsList(), "s1;s2");
    EXPECT_EQ(backed->getStatsdVerificationEventsList(), StringSet{"v1"});
    EXPECT_EQ(backed->getRateLimiterConfig(), "r");
    backed->setTravelModeEnabled(true);
    EXPECT_EQ(backed->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"q", true}, {"t", true}}));

    EXPECT_EQ(stored(gk::TelemetryAllowedSDKEventsList), "s1;s2");
    EXPECT_EQ(stored(gk::StatsdEventVerificationList), "v1");
    EXPECT_EQ(stored(gk::RateLimiterConfig), "r");
    EXPECT_EQ(stored(kQosOverrideKey), "q,true");
    EXPECT_EQ(stored(kTravelModeOverrideKey), "t,true");
}

TEST_F(RemoteConfigurationServiceTest, UnsetRemoteKeysTakeTheDefaults) {
    EXPECT_EQ(backed->getTelemetryAllowedSDKEventsList(), kDefaultAllowedSdkEventsList);
    EXPECT_EQ(stored(gk::TelemetryAllowedSDKEventsList), kDefaultAllowedSdkEventsList);
    // An empty default equals the empty cached string: nothing to mirror.
    EXPECT_EQ(stored(gk::RateLimiterConfig), std::nullopt);
    EXPECT_EQ(stored(kQosOverrideKey), std::nullopt);
    EXPECT_TRUE(stored(kTravelModeOverrideKey).has_value());
    EXPECT_TRUE(backed->getLowLatencyOverrideList().empty());
}

TEST_F(RemoteConfigurationServiceTest, ReadsRefreshChangedValuesOnly) {
    EXPECT_EQ(backed->getRateLimiterConfig(), "");
    cache->clearCalls();

    setRemote(gk::RateLimiterConfig, "r1");
    EXPECT_EQ(backed->getRateLimiterConfig(), "r1");
    EXPECT_EQ(writesOf(gk::RateLimiterConfig), 1u);
    EXPECT_EQ(stored(gk::RateLimiterConfig), "r1");

    EXPECT_EQ(backed->getRateLimiterConfig(), "r1");
    EXPECT_EQ(writesOf(gk::RateLimiterConfig), 1u);

    // A value that disappears remotely keeps the cached one.
    service->removeProperty(kNamespace, gk::RateLimiterConfig);
    EXPECT_EQ(backed->getRateLimiterConfig(), "r1");
    EXPECT_EQ(writesOf(gk::RateLimiterConfig), 1u);
}

TEST_F(RemoteConfigurationServiceTest, ChangedOverrideStringsAreParsedAgain) {
    EXPECT_TRUE(backed->getLowLatencyOverrideList().empty());
    setRemote(kQosOverrideKey, "a,false;b,true");
    EXPECT_EQ(backed->getLowLatencyOverrideList(),
              (LowLatencyOverrideMap{{"a", false}, {"b", true}}));
    setRemote(kQosOverrideKey, "a,true");
    EXPECT_EQ(backed->getLowLatencyOverrideList(), (LowLatencyOverrideMap{{"a", true}}));
    EXPECT_EQ(stored(kQosOverrideKey), "a,true");
}

TEST_F(RemoteConfigurationServiceTest, RefusedMirrorWritesAreLoggedAndTheValueStillChanges) {
    EXPECT_EQ(backed->getRateLimiterConfig(), "");
    testsupport::LogCapture logs;
    cache->refuseWrites(true);
    setRemote(gk::RateLimiterConfig, "r2");
    EXPECT_EQ(backed->getRateLimiterConfig(), "r2");
    EXPECT_EQ(stored(gk::RateLimiterConfig), std::nullopt);
    EXPECT_EQ(logs.count(ANDROID_LOG_ERROR, "telemetry",
                         std::string("Failed to cache ") + gk::RateLimiterConfig +
                                 " value to kvstore"),
              1u);
}

TEST_F(RemoteConfigurationServiceTest, ValuesFreezeWhileTheServiceIsGoneAndRefreshWhenItReturns) {
    setRemote(gk::StatsdEventVerificationList, "v1");
    hostproperties::setProperty(prefixed("halcyon_mobile_telemetry_enable_verification"), "1");
    EXPECT_TRUE(backed->isEventInVerification("v1"));

    setRemote(gk::StatsdEventVerificationList, "v2");
    ASSERT_EQ(killHostDeviceConfigService(), android::OK);
    EXPECT_TRUE(backed->isEventInVerification("v1"));
    EXPECT_FALSE(backed->isEventInVerification("v2"));

    ASSERT_EQ(publishHostDeviceConfigService(service), android::OK);
    EXPECT_EQ(backed->getVerificationStatus(), std::make_pair(true, StringSet{"v2"}));
}

TEST_F(RemoteConfigurationServiceTest, StoredCopiesServeAProcessStartedWithoutTheService) {
    setRemote(gk::TelemetryAllowedSDKEventsList, "s1");
    EXPECT_EQ(backed->getTelemetryAllowedSDKEventsList(), "s1");
    ASSERT_EQ(killHostDeviceConfigService(), android::OK);

    ServiceBackedManager restarted(cache);
    EXPECT_EQ(restarted.getTelemetryAllowedSDKEventsList(), "s1");
}

}  // namespace
}  // namespace gatestest
