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

void registerService(const char* name) {
    ASSERT_EQ(
            android::defaultServiceManager()->addService(
                    android::String16(name), android::sp<android::IBinder>(new android::BBinder())),
            android::OK);
}

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

// The real probe: before PreferencesService is registered nothing is attempted; after it, a
// manager with a settings object synchronises, and the singleton, which has none, asks the
// loader on every reading and finds no settings module.
TEST(SingletonTest, SynchronisationWaitsForTheRegisteredPreferencesService) {
    android::hostbinder::clearServices();
    auto settings = std::make_shared<FakeSettingsService>();
    settings->putString("telemetry_state", "on");
    TelemetrySettingsManager manager(settings, std::make_shared<FakeStorageCache>());
    auto singleton = TelemetrySettingsManager::instance();
    for (auto* each : {static_cast<ITelemetrySettingsManager*>(&manager), singleton.get()}) {
        each->setHistoryStoreManager(std::make_shared<HistoryStoreManager>());
    }
    for (bool registered : {false, true}) {
        if (registered) registerService("PreferencesService");
        EXPECT_EQ(manager.isServiceRunning("PreferencesService"), registered);
        EXPECT_EQ(manager.isTelemetryEnabled(), registered);
        expectDefaults(*singleton);
        EXPECT_EQ(singleton->getKestrelDeviceId(), std::nullopt);
    }
    EXPECT_FALSE(manager.isServiceRunning("preferencesservice"));
    EXPECT_FALSE(manager.isServiceRunning(""));
}

}  // namespace
}  // namespace settingsmanagertest
