// The process-wide singleton and the real service probe. Every test case runs in a process of
// its own, started without a settings module on the library path.

#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <FakeSettingsService.h>
#include <FakeStorageCache.h>

#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <utils/String16.h>

#include <gtest/gtest.h>

#include <chrono>
#include <latch>
#include <thread>

namespace {

using Tamar::OS::Telemetry::HistoryStoreManager;
using Tamar::OS::Telemetry::ITelemetrySettingsManager;
using Tamar::OS::Telemetry::TelemetrySettingsManager;

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

void expectUnsynchronisedDefaults(ITelemetrySettingsManager& manager) {
    const auto t = std::chrono::steady_clock::now();
    EXPECT_FALSE(manager.isTelemetryEnabled());
    EXPECT_EQ(manager.getTelemetryDeviceId(), std::nullopt);
    EXPECT_EQ(manager.getKestrelDeviceId(), std::nullopt);
    EXPECT_EQ(manager.getTelemetryManagedMode(t, std::nullopt), -1);
    EXPECT_FALSE(manager.getTelemetryLocalAccountModeEnabled(t, 0u));
    EXPECT_EQ(manager.getTelemetryLogLevel(), 0);
    EXPECT_FALSE(manager.isVerboseEnabled());
    EXPECT_FALSE(manager.getAccountCheckpointed(t));
    EXPECT_EQ(manager.getCurrentUser(t), 0u);
    EXPECT_TRUE(manager.getIsNuxCompleted());
}

TEST(SingletonTest, WithoutSettingsModuleEverySynchronisingReaderAnswersItsDefault) {
    registerService("PreferencesService");  // so that each reading really asks the loader
    auto manager = TelemetrySettingsManager::instance();
    manager->setHistoryStoreManager(std::make_shared<HistoryStoreManager>());
    expectUnsynchronisedDefaults(*manager);
    expectUnsynchronisedDefaults(*manager);
}

TEST(SingletonTest, BeforePreferencesServiceIsRegisteredReadersAnswerTheirDefault) {
    auto manager = TelemetrySettingsManager::instance();
    manager->setHistoryStoreManager(std::make_shared<HistoryStoreManager>());
    expectUnsynchronisedDefaults(*manager);
}

TEST(ServiceProbeTest, ReportsWhetherAServiceIsRegisteredNow) {
    TelemetrySettingsManager manager(std::make_shared<testsupport::FakeSettingsService>(),
                                     std::make_shared<testsupport::FakeStorageCache>());
    EXPECT_FALSE(manager.isServiceRunning("PreferencesService"));
    registerService("PreferencesService");
    EXPECT_TRUE(manager.isServiceRunning("PreferencesService"));
    EXPECT_FALSE(manager.isServiceRunning("preferencesservice"));
    EXPECT_FALSE(manager.isServiceRunning(""));
}

TEST(ServiceProbeTest, SynchronisationWaitsForPreferencesService) {
    auto settings = std::make_shared<testsupport::FakeSettingsService>();
    settings->putString("telemetry_state", "on");
    TelemetrySettingsManager manager(settings, std::make_shared<testsupport::FakeStorageCache>());
    manager.setHistoryStoreManager(std::make_shared<HistoryStoreManager>());
    EXPECT_FALSE(manager.isTelemetryEnabled());
    EXPECT_TRUE(settings->calls().empty());
    registerService("PreferencesService");
    EXPECT_TRUE(manager.isTelemetryEnabled());
}

}  // namespace
