#include "GatesTestSupport.h"

#include <telemetry/settingsmanager/LockContention.h>

#include <chrono>
#include <thread>

namespace gatestest {
namespace {

using namespace std::chrono_literals;

// Holds the remote configuration lock for as long as a refresh is kept waiting.
class StuckRefreshManager : public GateManager {
public:
    using GateManager::GateManager;
    std::atomic<bool> stuck{false};
    std::atomic<bool> refreshing{false};

    void updateMcStrings(const char*, const std::string&) override {
        refreshing = true;
        while (stuck) std::this_thread::sleep_for(1ms);
    }
};

void waitUntil(const std::atomic<bool>& flag) {
    while (!flag) std::this_thread::sleep_for(1ms);
}

class LockContentionDeathTest : public ::testing::Test {
protected:
    void SetUp() override {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        Tamar::OS::Telemetry::setMaxLockContentionForTesting(100ms);
    }
};

TEST_F(LockContentionDeathTest, StuckInitialisationIsFatal) {
    EXPECT_DEATH(
            {
                StuckRefreshManager manager(std::make_shared<FakeStorageCache>());
                manager.deviceConfigRunning = true;
                manager.stuck = true;
                std::thread holder([&manager] { manager.initializeGKs(); });
                waitUntil(manager.refreshing);
                manager.initializeGKs();
                holder.detach();
            },
            "Max contention period limit \\(60 sec.\\) is reached. Initialize MC strings is "
            "failed.");
}

TEST_F(LockContentionDeathTest, StuckRefreshIsFatal) {
    EXPECT_DEATH(
            {
                StuckRefreshManager manager(std::make_shared<FakeStorageCache>());
                manager.initializeGKs();
                manager.deviceConfigRunning = true;
                manager.stuck = true;
                std::thread holder(
                        [&manager] { manager.getLatestMcStrings(gk::RateLimiterConfig); });
                waitUntil(manager.refreshing);
                manager.getLatestMcStrings(gk::RateLimiterConfig);
                holder.detach();
            },
            "Max contention period limit \\(60 sec.\\) is reached. Update MC strings is failed.");
}

TEST_F(LockContentionDeathTest, ShortContentionIsTolerated) {
    StuckRefreshManager manager(std::make_shared<FakeStorageCache>());
    manager.initializeGKs();
    manager.deviceConfigRunning = true;
    manager.stuck = true;
    std::thread holder([&manager] { manager.getLatestMcStrings(gk::RateLimiterConfig); });
    waitUntil(manager.refreshing);
    std::thread releaser([&manager] {
        std::this_thread::sleep_for(20ms);
        manager.stuck = false;
    });
    manager.getLatestMcStrings(gk::RateLimiterConfig);
    holder.join();
    releaser.join();
}

}  // namespace
}  // namespace gatestest
