#include "ManagerTestSupport.h"

#include <WaitUntil.h>

#include <telemetry/settingsmanager/LockContention.h>

#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace settingsmanagertest {
namespace {

using namespace std::chrono_literals;
using Tamar::OS::Telemetry::setMaxLockContentionForTesting;

using LockContentionDeathTest = ManagerTest;

// The 60-second limit, shortened: a reading that waits beyond it for a synchronisation stuck
// inside its gate initialisation aborts the process.
TEST_F(LockContentionDeathTest, WaitingBeyondTheLimitForTheSyncLockAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
            {
                setMaxLockContentionForTesting(100ms);
                std::promise<void> entered;
                std::promise<void> release;
                manager->duringInitializeGKs = [&] {
                    if (manager->initializeGKsCalls > 1) return;
                    entered.set_value();
                    release.get_future().wait();
                };
                std::thread holder([this] { manager->syncSettings(); });
                entered.get_future().wait();
                manager->isTelemetryEnabled();  // waits for the held sync lock
                release.set_value();
                holder.join();
            },
            "Max contention period limit \\(60 sec\\.\\) is reached\\. "
            "TelemetrySettingsManager::syncSettings is failed\\.");
}

// Readers on several threads while change callbacks and the first synchronisation run.
// What is checked is that every answer is one the settings ever held (and, under the
// thread sanitizer, that nothing races).
TEST_F(ManagerTest, ReadersChangesAndSynchronisationOverlapSafely) {
    manager->preferencesServiceRunning = false;
    settings->putString("telemetry_state", "on");
    settings->putInt("managed_device", 1);
    settings->putInt("current_user", 10);
    settings->putString("device_ent_id", "ent");

    std::atomic<bool> stop{false};
    std::atomic<int> readings{0};
    std::vector<std::thread> threads;
    for (int r = 0; r < 4; ++r) {
        threads.emplace_back([&] {
            while (!stop) {
                const auto t = std::chrono::steady_clock::now();
                manager->isTelemetryEnabled();
                const int mode = manager->getTelemetryManagedMode(t, std::nullopt);
                EXPECT_TRUE(mode == -1 || mode == 0 || mode == 1 || mode == 2) << mode;
                const unsigned user = manager->getCurrentUser(t);
                EXPECT_TRUE(user == 0 || user == 10 || user == 11) << user;
                const auto id = manager->getTelemetryDeviceId();
                EXPECT_TRUE(!id || *id == "ent");
                manager->getKestrelDeviceId();
                manager->getTelemetryLocalAccountModeEnabled(t, 3u);
                manager->getAccountCheckpointed(t);
                manager->getIsNuxCompleted();
                ++readings;
            }
        });
    }
    threads.emplace_back([&] {
        for (int i = 0; !stop; ++i) {
            settings->putInt("managed_device", 1 + (i % 2));
            settings->putInt("current_user", 10 + (i % 2));
            for (const char* key :
                 {"telemetry_state", "managed_device", "current_user",
                  "local_account_mode_enabled_v1", "vela_account_checkpointed",
                  "first_time_nux_complete", "device_ent_id", "kestrel_device_id"}) {
                manager->onSettingChange(key);
            }
        }
    });
    threads.emplace_back([&] {
        while (!stop) manager->historyGate = !manager->historyGate;
    });

    // Some readings before synchronisation can succeed, many after.
    EXPECT_TRUE(testsupport::waitUntil([&] { return readings >= 50; }));
    manager->preferencesServiceRunning = true;
    EXPECT_TRUE(testsupport::waitUntil([&] { return readings >= 250; }));
    stop = true;
    for (auto& t : threads) t.join();

    EXPECT_TRUE(manager->isTelemetryEnabled());
    EXPECT_EQ(manager->getTelemetryDeviceId(), "ent");
    EXPECT_EQ(settings->listeners().size(), 6u);
}

}  // namespace
}  // namespace settingsmanagertest
