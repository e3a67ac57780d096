#include "GatesTestSupport.h"

#include <telemetry/settingsmanager/LockContention.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <utility>

namespace gatestest {
namespace {

using namespace std::chrono_literals;
using Tamar::OS::Telemetry::setMaxLockContentionForTesting;

TEST(ParseListFromStringTest, SplitsAtSemicolonsKeepingItemsAsTheyStand) {
    const std::pair<const char*, StringSet> cases[] = {
            {"a;;b", {"a", "", "b"}},     {"a;", {"a"}}, {"a;a", {"a"}}, {";a", {"", "a"}},
            {" a;B;b", {" a", "B", "b"}}, {"", {}},
    };
    for (const auto& [text, items] : cases) {
        EXPECT_EQ(TelemetrySettingsManager::parseListFromString(text), items) << text;
    }
}

// Without the device-config service nothing is refreshed: stored copies or defaults apply.
using RemoteConfigurationTest = GatesTest;

TEST_F(RemoteConfigurationTest, WithoutServiceStoredCopiesOrDefaultsApplyAndStayFrozen) {
    EXPECT_EQ(manager->getTelemetryAllowedSDKEventsList(), kDefaultAllowedSdkEventsList);
    EXPECT_EQ(manager->getRateLimiterConfig(), "");
    EXPECT_TRUE(manager->getStatsdVerificationEventsList().empty());
    // Only the 23 gates are mirrored: nothing came from the service.
    EXPECT_EQ(cache->countCalls("set"), 23u);

    // A manager started later finds the stored copies.
    store(gk::TelemetryAllowedSDKEventsList, "e1;e2");
    store(gk::StatsdEventVerificationList, "v1;v2");
    store(gk::RateLimiterConfig, "limit:5");
    GateManager restarted(cache);
    EXPECT_EQ(restarted.getTelemetryAllowedSDKEventsList(), "e1;e2");
    EXPECT_EQ(restarted.getStatsdVerificationEventsList(), (StringSet{"v1", "v2"}));
    EXPECT_EQ(restarted.getRateLimiterConfig(), "limit:5");

    store(gk::RateLimiterConfig, "limit:6");
    EXPECT_EQ(restarted.getRateLimiterConfig(), "limit:5");
    EXPECT_EQ(manager->updateMcStringsCalls + restarted.updateMcStringsCalls, 0);
}

TEST_F(RemoteConfigurationTest, VerificationFollowsItsGateAndLeavesTheLockFree) {
    const std::string gate = gateRows()[6].property;
    store(gk::StatsdEventVerificationList, "v1;v2");
    hostproperties::setProperty(gate, "0");
    EXPECT_EQ(manager->getVerificationStatus(), std::make_pair(false, StringSet{}));
    EXPECT_FALSE(manager->isEventInVerification("v1"));
    EXPECT_FALSE(manager->isEventInVerification(""));

    hostproperties::setProperty(gate, "1");
    EXPECT_EQ(manager->getVerificationStatus(), std::make_pair(true, StringSet{"v1", "v2"}));
    EXPECT_TRUE(manager->isEventInVerification("v1"));
    EXPECT_FALSE(manager->isEventInVerification("V1"));
    EXPECT_FALSE(manager->isEventInVerification("v3"));
    EXPECT_EQ(manager->getStatsdVerificationEventsList(), (StringSet{"v1", "v2"}));

    // A lock left held by the reads above would keep another thread's reader waiting.
    auto reader = std::async(std::launch::async, [this] { return manager->getRateLimiterConfig(); });
    ASSERT_EQ(reader.wait_for(10s), std::future_status::ready);
    EXPECT_EQ(reader.get(), "");
}

// Holds the remote configuration lock for as long as a refresh is kept waiting.
class StuckRefreshManager : public GateManager {
public:
    explicit StuckRefreshManager(bool initialise)
        : GateManager(std::make_shared<FakeStorageCache>()) {
        if (initialise) initializeGKs();
        deviceConfigRunning = true;
    }
    std::atomic<bool> stuck{true};
    std::atomic<bool> refreshing{false};

    void updateMcStrings(const char*, const std::string&) override {
        refreshing = true;
        while (stuck) std::this_thread::sleep_for(1ms);
    }
    // Starts `call` on a thread and returns once that thread holds the lock.
    template <typename Call>
    std::thread holdLock(Call call) {
        std::thread holder(call);
        while (!refreshing) std::this_thread::sleep_for(1ms);
        return holder;
    }
};

class LockContentionDeathTest : public ::testing::Test {
protected:
    void SetUp() override {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        setMaxLockContentionForTesting(100ms);
    }
    void TearDown() override { setMaxLockContentionForTesting(60s); }
};

TEST_F(LockContentionDeathTest, StuckInitialisationIsFatal) {
    EXPECT_DEATH(
            {
                StuckRefreshManager manager(false);
                manager.holdLock([&manager] { manager.initializeGKs(); }).detach();
                manager.initializeGKs();
            },
            "Max contention period limit \\(60 sec.\\) is reached. Initialize MC strings is "
            "failed.");
}

TEST_F(LockContentionDeathTest, StuckRefreshIsFatal) {
    EXPECT_DEATH(
            {
                StuckRefreshManager manager(true);
                manager.holdLock([&manager] { manager.getLatestMcStrings(gk::RateLimiterConfig); })
                        .detach();
                manager.getLatestMcStrings(gk::RateLimiterConfig);
            },
            "Max contention period limit \\(60 sec.\\) is reached. Update MC strings is failed.");
}

TEST(LockContentionTest, ContentionWithinTheLimitIsTolerated) {
    // The holder lets go as soon as the second refresh has started, far inside the 60 s limit.
    StuckRefreshManager manager(true);
    std::thread holder =
            manager.holdLock([&manager] { manager.getLatestMcStrings(gk::RateLimiterConfig); });
    std::atomic<bool> contending{false};
    std::thread releaser([&] {
        while (!contending) std::this_thread::sleep_for(1ms);
        manager.stuck = false;
    });
    contending = true;
    manager.getLatestMcStrings(gk::RateLimiterConfig);
    holder.join();
    releaser.join();
}

}  // namespace
}  // namespace gatestest
