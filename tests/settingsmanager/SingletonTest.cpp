// The process-wide singleton and the real service probe, without a settings module on the
// library path.

#include "ManagerTestSupport.h"

#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <binder_host/HostBinder.h>
#include <utils/String16.h>

#include <latch>
#include <thread>

namespace settingsmanagertest {
namespace {

void registerService(const char* name) {
    ASSERT_EQ(
            android::defaultServiceManager()->addService(
                    android::String16(name), android::sp<android::IBinder>(new android::BBinder())),
            android::OK);
}

TEST(SingletonTest, ConcurrentFirstCallsShareOneObject) {
    std::shared_ptr<ITelemetrySettingsManager> first, second;
    std::latch start(2);
    std::thread a([&] {
        start.arrive_and_wait();
        first = TelemetrySettingsManager::instance();
    });
    std::thread b([&] {
        start.arrive_and_wait();
        second = TelemetrySettingsManager::instance();
    });
    a.join();
    b.join();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    EXPECT_EQ(TelemetrySettingsManager::instance(), first);
    // The static copy keeps its own reference beside the two handed out here.
    EXPECT_EQ(first.use_count(), 3);
    EXPECT_NE(dynamic_cast<TelemetrySettingsManager*>(first.get()), nullptr);
}

// Before PreferencesService is registered nothing is attempted; after it, every reading asks
// the loader, which finds no settings module.
TEST(SingletonTest, WithoutPreferencesServiceOrSettingsModuleReadersAnswerTheirDefault) {
    auto manager = TelemetrySettingsManager::instance();
    manager->setHistoryStoreManager(std::make_shared<HistoryStoreManager>());
    for (int registered = 0; registered < 2; ++registered) {
        if (registered) registerService("PreferencesService");
        expectDefaults(*manager);
        EXPECT_EQ(manager->getKestrelDeviceId(), std::nullopt);
    }
}

TEST(ServiceProbeTest, ReportsARegisteredServiceAndSynchronisationWaitsForIt) {
    android::hostbinder::clearServices();
    auto settings = std::make_shared<FakeSettingsService>();
    settings->putString("telemetry_state", "on");
    TelemetrySettingsManager manager(settings, std::make_shared<FakeStorageCache>());
    manager.setHistoryStoreManager(std::make_shared<HistoryStoreManager>());
    EXPECT_FALSE(manager.isServiceRunning("PreferencesService"));
    EXPECT_FALSE(manager.isTelemetryEnabled());
    EXPECT_TRUE(settings->calls().empty());

    registerService("PreferencesService");
    EXPECT_TRUE(manager.isServiceRunning("PreferencesService"));
    EXPECT_FALSE(manager.isServiceRunning("preferencesservice"));
    EXPECT_FALSE(manager.isServiceRunning(""));
    EXPECT_TRUE(manager.isTelemetryEnabled());
}

}  // namespace
}  // namespace settingsmanagertest
