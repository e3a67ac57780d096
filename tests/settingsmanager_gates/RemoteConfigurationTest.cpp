#include "GatesTestSupport.h"

#include <WaitUntil.h>

#include <telemetry/settingsmanager/LockContention.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <utility>

namespace gatestest {
namespace {

using namespace std::chrono_literals;
using Tamar::OS::Telemetry::setMaxLockContentionForTesting;

using RemoteConfigurationTest = GatesTest;

// Verification is off, with an empty list, while its gate is off; names match exactly.
TEST_F(RemoteConfigurationTest, VerificationFollowsItsGate) {
    const std::string gate = gateRows()[6].property;
    cache->put(gk::StatsdEventVerificationList, "v1;v2");
    hostproperties::setProperty(gate, "0");
    EXPECT_EQ(manager->getVerificationStatus(), std::make_pair(false, StringSet{}));
    EXPECT_FALSE(manager->isEventInVerification("v1"));

    hostproperties::setProperty(gate, "1");
    EXPECT_EQ(manager->getVerificationStatus(), std::make_pair(true, StringSet{"v1", "v2"}));
    for (const char* absent : {"V1", "v3", ""}) {
        EXPECT_FALSE(manager->isEventInVerification(absent)) << absent;
    }
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
