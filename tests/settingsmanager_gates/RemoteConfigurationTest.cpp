#include "GatesTestSupport.h"

#include <WaitUntil.h>

#include <telemetry/settingsmanager/LockContention.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <utility>

namespace gatestest {
namespace {

using namespace std::chrono_literals;
using Tamar::OS::Telemetry::setMaxLockContentionForTesting;

using RemoteConfigurationTest = GatesTest;

// Without the device-config service nothing is refreshed: stored copies or defaults apply.
TEST_F(RemoteConfigurationTest, WithoutServiceStoredCopiesOrDefaultsApplyAndStayFrozen) {
    EXPECT_EQ(manager->getTelemetryAllowedSDKEventsList(), kDefaultAllowedSdkEventsList);
    EXPECT_EQ(manager->getRateLimiterConfig(), "");
    EXPECT_TRUE(manager->getStatsdVerificationEventsList().empty());
    // Only the 23 gates are mirrored: nothing came from the service.
    EXPECT_EQ(cache->countCalls("set"), 23u);

    // A manager started later finds the stored copies.
    cache->put(gk::TelemetryAllowedSDKEventsList, "e1;e2");
    cache->put(gk::StatsdEventVerificationList, "v1;v2");
    cache->put(gk::RateLimiterConfig, "limit:5");
    GateManager restarted(cache);
    EXPECT_EQ(restarted.getTelemetryAllowedSDKEventsList(), "e1;e2");
    EXPECT_EQ(restarted.getStatsdVerificationEventsList(), (StringSet{"v1", "v2"}));
    EXPECT_EQ(restarted.getRateLimiterConfig(), "limit:5");
    cache->put(gk::RateLimiterConfig, "limit:6");
    EXPECT_EQ(restarted.getRateLimiterConfig(), "limit:5");
}

TEST_F(RemoteConfigurationTest, VerificationFollowsItsGateAndLeavesTheLockFree) {
    const std::string gate = gateRows()[6].property;
    cache->put(gk::StatsdEventVerificationList, "v1;v2");
    hostproperties::setProperty(gate, "0");
    EXPECT_EQ(manager->getVerificationStatus(), std::make_pair(false, StringSet{}));
    EXPECT_FALSE(manager->isEventInVerification("v1"));

    hostproperties::setProperty(gate, "1");
    EXPECT_EQ(manager->getVerificationStatus(), std::make_pair(true, StringSet{"v1", "v2"}));
    EXPECT_TRUE(manager->isEventInVerification("v1"));
    for (const char* absent : {"V1", "v3", ""}) {
        EXPECT_FALSE(manager->isEventInVerification(absent)) << absent;
    }

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
    std::thread holdLock(const std::function<void()>& call) {
        std::thread holder(call);
        EXPECT_TRUE(testsupport::waitUntil([this] { return refreshing.load(); }));
        return holder;
    }
};

// The 60-second limit, shortened: a second initialisation or refresh that waits beyond it for
// a stuck one aborts the process with the line that names the operation.
TEST(LockContentionDeathTest, StuckInitialisationOrRefreshIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const std::pair<bool, const char*> cases[] = {{false, "Initialize"}, {true, "Update"}};
    for (const auto& [initialised, operation] : cases) {
        const auto call = [initialised](StuckRefreshManager& m) {
            initialised ? (void)m.getLatestMcStrings(gk::RateLimiterConfig)
                        : (void)m.initializeGKs();
        };
        EXPECT_DEATH(
                {
                    setMaxLockContentionForTesting(100ms);
                    StuckRefreshManager m(initialised);
                    m.holdLock([&] { call(m); }).detach();
                    call(m);
                },
                std::string("Max contention period limit \\(60 sec.\\) is reached. ") + operation +
                        " MC strings is failed.");
    }
}

// A holder that lets go while the second refresh may be waiting, far inside the 60 s limit.
TEST(LockContentionTest, ContentionWithinTheLimitIsTolerated) {
    StuckRefreshManager manager(true);
    std::thread holder =
            manager.holdLock([&manager] { manager.getLatestMcStrings(gk::RateLimiterConfig); });
    std::thread releaser([&manager] { manager.stuck = false; });
    manager.getLatestMcStrings(gk::RateLimiterConfig);
    holder.join();
    releaser.join();
}

}  // namespace
}  // namespace gatestest
