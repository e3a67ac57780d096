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
#include <memory>
#include <string>
#include <vector>

namespace settingsmanagertest {

using Tamar::OS::Telemetry::HistoryStoreManager;
using Tamar::OS::Telemetry::ITelemetrySettingsManager;
using Tamar::OS::Telemetry::TelemetrySettingsManager;
using testsupport::FakeSettingsService;
using testsupport::FakeStorageCache;

inline constexpr char kStoreName[] = "telemetry_service_settings";

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

// A storage cache whose calls also land in the settings fake's log, so that one log shows
// the order of every external call.
class OrderedStorageCache : public FakeStorageCache {
public:
    explicit OrderedStorageCache(FakeSettingsService& log) : log_(log) {}
    std::optional<std::string> get(Store store, const std::string& name,
                                   const std::string& key) override {
        log_.record("kv.get " + key);
        return FakeStorageCache::get(store, name, key);
    }
    bool set(Store store, const std::string& name, const std::string& key,
             const std::string& value) override {
        log_.record("kv.set " + key);
        return FakeStorageCache::set(store, name, key, value);
    }

private:
    FakeSettingsService& log_;
};

// Replaces the probes that reach beyond the settings service (binder, system properties),
// and logs them into the settings fake's call log.
class TestableManager : public TelemetrySettingsManager {
public:
    TestableManager(std::shared_ptr<FakeSettingsService> settings,
                    std::shared_ptr<IStorageCache> cache, FakeSettingsService& log)
        : TelemetrySettingsManager(std::move(settings), std::move(cache)), log_(log) {}

    std::atomic<bool> preferencesServiceRunning{true};
    std::atomic<bool> historyGate{false};
    std::atomic<int> initializeGKsCalls{0};
    std::atomic<bool> logProbes{true};  // off where the log would grow without bound

    bool isServiceRunning(const char* name) override {
        if (logProbes) log_.record(std::string("isServiceRunning ") + name);
        return std::strcmp(name, "PreferencesService") == 0 && preferencesServiceRunning;
    }
    bool initializeGKs() override {
        ++initializeGKsCalls;
        if (logProbes) log_.record("initializeGKs");
        return true;
    }
    bool getGKFlag(const char* name) override {
        return name == Tamar::OS::Telemetry::TelemetryVelaconfigs::EnableTelemetryHistoryStore &&
               historyGate;
    }

private:
    FakeSettingsService& log_;
};

class ManagerTest : public ::testing::Test {
protected:
    void SetUp() override { manager = makeManager(); }

    std::unique_ptr<TestableManager> makeManager() {
        auto m = std::make_unique<TestableManager>(settings, cache, *settings);
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

    std::optional<std::string> stored(const std::string& key) const {
        return cache->stored(Store::Shared, kStoreName, key);
    }
    void store(const std::string& key, const std::string& value) {
        cache->put(Store::Shared, kStoreName, key, value);
    }

    std::shared_ptr<FakeSettingsService> settings = std::make_shared<FakeSettingsService>();
    std::shared_ptr<OrderedStorageCache> cache = std::make_shared<OrderedStorageCache>(*settings);
    std::shared_ptr<HistoryStoreManager> histories = std::make_shared<HistoryStoreManager>();
    std::unique_ptr<TestableManager> manager;
};

}  // namespace settingsmanagertest
