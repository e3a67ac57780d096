// The process-wide singleton and the real service probe, without a settings module on the
// library path.

#include "ManagerTestSupport.h"

#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <binder_host/HostBinder.h>
#include <utils/String16.h>

#include <latch>
#include <thread>
#include <vector>

namespace settingsmanagertest {
namespace {

TEST(SingletonTest, ConcurrentFirstCallsShareOneObject) {
    std::shared_ptr<ITelemetrySettingsManager> got[2];
    std::latch start(2);
    std::vector<std::thread> callers;
    for (auto& each : got) {
        callers.emplace_back([&start, &each] {
            start.arrive_and_wait();
            each = TelemetrySettingsManager::instance();
        });
    }
    for (auto& caller : callers) caller.join();
    ASSERT_NE(got[0], nullptr);
    EXPECT_EQ(got[0], got[1]);
    EXPECT_EQ(TelemetrySettingsManager::instance(), got[0]);
    // The static copy keeps its own reference beside the two handed out here.
    EXPECT_EQ(got[0].use_count(), 3);
    EXPECT_NE(dynamic_cast<TelemetrySettingsManager*>(got[0].get()), nullptr);
}

// The real probe matches the exact registered name. The singleton has no settings object: once
// PreferencesService runs it asks the loader, finds no settings module, and answers defaults.
TEST(SingletonTest, WithoutASettingsModuleTheSingletonAnswersDefaults) {
    android::hostbinder::clearServices();
    TelemetrySettingsManager probe(nullptr, std::make_shared<FakeStorageCache>());
    EXPECT_FALSE(probe.isServiceRunning("PreferencesService"));
    ASSERT_EQ(android::defaultServiceManager()->addService(
                      android::String16("PreferencesService"),
                      android::sp<android::IBinder>(new android::BBinder())),
              android::OK);
    EXPECT_TRUE(probe.isServiceRunning("PreferencesService"));
    EXPECT_FALSE(probe.isServiceRunning("preferencesservice"));

    auto singleton = TelemetrySettingsManager::instance();
    singleton->setHistoryStoreManager(std::make_shared<HistoryStoreManager>());
    expectDefaults(*singleton);
    EXPECT_EQ(singleton->getKestrelDeviceId(), std::nullopt);
}

}  // namespace
}  // namespace settingsmanagertest
