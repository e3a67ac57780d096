#pragma once

#include <FakeSettingsService.h>
#include <FakeStorageCache.h>

#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace settingsmanagertest {

using Tamar::OS::Telemetry::HistoryStoreManager;
using Tamar::OS::Telemetry::ITelemetrySettingsManager;
using Tamar::OS::Telemetry::TelemetrySettingsManager;
using testsupport::FakeSettingsService;
using testsupport::FakeStorageCache;

inline auto now() {
    return std::chrono::steady_clock::now();
}

// What every synchronising reader except the kestrel id answers when nothing was synchronised
// or nothing was set.
inline void expectDefaults(ITelemetrySettingsManager& manager) {
    const auto t = now();
    EXPECT_FALSE(manager.isTelemetryEnabled());
    EXPECT_EQ(manager.getTelemetryDeviceId(), std::nullopt);
    EXPECT_EQ(manager.getTelemetryManagedMode(t, 3u), -1);
    EXPECT_FALSE(manager.getTelemetryLocalAccountModeEnabled(t, std::nullopt));
    EXPECT_EQ(manager.getTelemetryLogLevel(), 0);
    EXPECT_FALSE(manager.isVerboseEnabled());
    EXPECT_FALSE(manager.getAccountCheckpointed(t));
    EXPECT_EQ(manager.getCurrentUser(t), 0u);
    EXPECT_TRUE(manager.getIsNuxCompleted());
}

// Replaces the probes that reach beyond the settings service (binder, system properties).
class TestableManager : public TelemetrySettingsManager {
public:
    TestableManager(std::shared_ptr<FakeSettingsService> settings,
                    std::shared_ptr<IStorageCache> cache)
        : TelemetrySettingsManager(std::move(settings), std::move(cache)) {}

    std::atomic<bool> preferencesServiceRunning{true};
    std::atomic<bool> historyGate{false};
    std::atomic<int> initializeGKsCalls{0};
    std::function<void()> duringInitializeGKs;  // set before the manager is shared

    bool isServiceRunning(const char* name) override {
        return std::strcmp(name, "PreferencesService") == 0 && preferencesServiceRunning;
    }
    bool initializeGKs() override {
        ++initializeGKsCalls;
        if (duringInitializeGKs) duringInitializeGKs();
        return true;
    }
    bool getGKFlag(const char* name) override {
        return name == Tamar::OS::Telemetry::TelemetryVelaconfigs::EnableTelemetryHistoryStore &&
               historyGate;
    }
};

class ManagerTest : public ::testing::Test {
protected:
    void SetUp() override { manager = makeManager(); }

    std::unique_ptr<TestableManager> makeManager() {
        auto m = std::make_unique<TestableManager>(settings, cache);
        m->setHistoryStoreManager(histories);
        return m;
    }

    // Synchronises, then forgets the calls it made.
    void syncAndClear() {
        ASSERT_TRUE(manager->syncSettings());
        settings->clearCalls();
        cache->clearCalls();
    }

    // Entry counts of the account-state histories, in registration order: Account Checkpointed,
    // Current User, Local Account Mode, Managed Mode.
    std::vector<size_t> historySizes() const {
        std::vector<size_t> sizes;
        for (auto& [store, keep] : histories->registry()) sizes.push_back(store->size());
        return sizes;
    }

    std::shared_ptr<FakeSettingsService> settings = std::make_shared<FakeSettingsService>();
    std::shared_ptr<FakeStorageCache> cache = std::make_shared<FakeStorageCache>();
    std::shared_ptr<HistoryStoreManager> histories = std::make_shared<HistoryStoreManager>();
    std::unique_ptr<TestableManager> manager;
};

}  // namespace settingsmanagertest
