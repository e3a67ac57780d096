#include "GatesTestSupport.h"

#include <telemetry/settingsmanager/RemoteConfigKeys.h>

#include <chrono>
#include <future>

namespace gatestest {
namespace {

using Tamar::OS::Telemetry::kDefaultAllowedSdkEventsList;
using StringSet = std::unordered_set<std::string>;

const std::string kVerificationGate = prefixed("halcyon_mobile_telemetry_enable_verification");

TEST(ParseListFromStringTest, SplitsAtSemicolonsKeepingItemsAsTheyStand) {
    EXPECT_EQ(TelemetrySettingsManager::parseListFromString("a;;b"), (StringSet{"a", "", "b"}));
    EXPECT_EQ(TelemetrySettingsManager::parseListFromString("a;"), (StringSet{"a"}));
    EXPECT_EQ(TelemetrySettingsManager::parseListFromString("a;a"), (StringSet{"a"}));
    EXPECT_EQ(TelemetrySettingsManager::parseListFromString(";a"), (StringSet{"", "a"}));
    EXPECT_EQ(TelemetrySettingsManager::parseListFromString(" a;B;b"), (StringSet{" a", "B", "b"}));
    EXPECT_TRUE(TelemetrySettingsManager::parseListFromString("").empty());
}

using RemoteConfigurationTest = GatesTest;

TEST_F(RemoteConfigurationTest, WithoutServiceAndStoreTheDefaultsApply) {
    const std::string allowList = manager->getTelemetryAllowedSDKEventsList();
    EXPECT_EQ(allowList, kDefaultAllowedSdkEventsList);
    const StringSet names = TelemetrySettingsManager::parseListFromString(allowList);
    EXPECT_EQ(names.size(), 52u);
    for (const char* name : {"physical_keyboard_heartbeat", "virtual_keyboard_opened",
                             "controller_input_press_periodic"}) {
        EXPECT_TRUE(names.contains(name)) << name;
    }
    EXPECT_EQ(allowList.find(' '), std::string::npos);
    EXPECT_NE(allowList.back(), ';');

    EXPECT_EQ(manager->getRateLimiterConfig(), "");
    EXPECT_TRUE(manager->getStatsdVerificationEventsList().empty());
    EXPECT_EQ(manager->updateMcStringsCalls.load(), 0);
    // Nothing is mirrored when nothing came from the service.
    EXPECT_EQ(cache->countCalls("set"), 23u);
}

TEST_F(RemoteConfigurationTest, WithoutServiceStoredCopiesApplyAndStayFrozen) {
    store(gk::TelemetryAllowedSDKEventsList, "e1;e2");
    store(gk::StatsdEventVerificationList, "v1;v2");
    store(gk::RateLimiterConfig, "limit:5");
    EXPECT_EQ(manager->getTelemetryAllowedSDKEventsList(), "e1;e2");
    EXPECT_EQ(manager->getStatsdVerificationEventsList(), (StringSet{"v1", "v2"}));
    EXPECT_EQ(manager->getRateLimiterConfig(), "limit:5");

    store(gk::RateLimiterConfig, "limit:6");
    EXPECT_EQ(manager->getRateLimiterConfig(), "limit:5");
    EXPECT_EQ(manager->updateMcStringsCalls.load(), 0);
}

TEST_F(RemoteConfigurationTest, VerificationFollowsItsGate) {
    store(gk::StatsdEventVerificationList, "v1;v2");
    hostproperties::setProperty(kVerificationGate, "0");
    EXPECT_EQ(manager->getVerificationStatus(), std::make_pair(false, StringSet{}));
    EXPECT_FALSE(manager->isEventInVerification("v1"));
    EXPECT_FALSE(manager->isEventInVerification(""));

    hostproperties::setProperty(kVerificationGate, "1");
    EXPECT_EQ(manager->getVerificationStatus(), std::make_pair(true, StringSet{"v1", "v2"}));
    EXPECT_TRUE(manager->isEventInVerification("v1"));
    EXPECT_FALSE(manager->isEventInVerification("V1"));
    EXPECT_FALSE(manager->isEventInVerification("v3"));
}

TEST_F(RemoteConfigurationTest, VerificationListReadsLeaveTheLockFree) {
    store(gk::StatsdEventVerificationList, "v1");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(manager->getStatsdVerificationEventsList(), StringSet{"v1"});
    // A lock left held here would keep another thread's reader waiting.
    auto reader = std::async(std::launch::async, [this] { return manager->getRateLimiterConfig(); });
    ASSERT_EQ(reader.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(reader.get(), "");
}

}  // namespace
}  // namespace gatestest
