#include "ManagerTestSupport.h"

#include <telemetry/settingsmanager/LockContention.h>

#include <chrono>
#include <future>
#include <thread>

namespace settingsmanagertest {
namespace {

using namespace std::chrono_literals;
using Tamar::OS::Telemetry::setMaxLockContentionForTesting;

// Holds the sync lock inside initializeGKs until released, as a stuck synchronisation would.
class StuckManager : public TestableManager {
public:
    using TestableManager::TestableManager;
    std::promise<void> entered;
    std::shared_future<void> release;

    bool initializeGKs() override {
        if (!enteredOnce.exchange(true)) {
            entered.set_value();
            release.wait();
        }
        return true;
    }

private:
    std::atomic<bool> enteredOnce{false};
};

struct StuckFixture {
    FakeSettingsService log;
    std::shared_ptr<FakeSettingsService> settings = std::make_shared<FakeSettingsService>();
    std::shared_ptr<HistoryStoreManager> histories = std::make_shared<HistoryStoreManager>();
    StuckManager manager{settings, std::make_shared<FakeStorageCache>(), log};
    std::promise<void> releasePromise;

    StuckFixture() {
        manager.logProbes = false;
        manager.release = releasePromise.get_future().share();
        manager.setHistoryStoreManager(histories);
    }
};

TEST(LockContentionDeathTest, WaitingBeyondTheLimitForTheSyncLockAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
            {
                setMaxLockContentionForTesting(100ms);
                StuckFixture f;
                std::thread holder([&f] { f.manager.syncSettings(); });
                f.manager.entered.get_future().wait();
                f.manager.isTelemetryEnabled();  // waits for the held sync lock
                f.releasePromise.set_value();
                holder.join();
            },
            "Max contention period limit \\(60 sec\\.\\) is reached\\. "
            "TelemetrySettingsManager::syncSettings is failed\\.");
}

TEST(LockContentionDeathTest, AWaitWithinTheLimitSucceeds) {
    setMaxLockContentionForTesting(30s);
    StuckFixture f;
    std::thread holder([&f] { f.manager.syncSettings(); });
    f.manager.entered.get_future().wait();
    std::thread releaser([&f] {
        std::this_thread::sleep_for(50ms);
        f.releasePromise.set_value();
    });
    EXPECT_TRUE(f.manager.syncSettings());
    releaser.join();
    holder.join();
}

}  // namespace
}  // namespace settingsmanagertest
