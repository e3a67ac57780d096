#pragma once

#include <FakeSettingsService.h>
#include <FakeStorageCache.h>

#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <string>

namespace settingsmanagertest {

using Tamar::OS::Telemetry::HistoryStoreManager;
using Tamar::OS::Telemetry::TelemetrySettingsManager;
using testsupport::FakeSettingsService;
using testsupport::FakeStorageCache;

inline constexpr char kStoreName[] = "telemetry_service_settings";

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
    std::atomic<bool> logProbes{true};

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
    void SetUp() override {
        settings = std::make_shared<FakeSettingsService>();
        cache = std::make_shared<OrderedStorageCache>(*settings);
        manager = std::make_unique<TestableManager>(settings, cache, *settings);
        histories = std::make_shared<HistoryStoreManager>();
        manager->setHistoryStoreManager(histories);
    }

    // Synchronises, then forgets the calls it made.
    void syncAndClear() {
        ASSERT_TRUE(manager->syncSettings());
        settings->clearCalls();
        cache->clearCalls();
    }

    // Number of entries in the history registered under `name` (the newest such store).
    size_t historySize(const std::string& name) const {
        size_t size = 0;
        for (auto& [store, keep] : histories->registry()) {
            if (store->name() == name) size = store->size();
        }
        return size;
    }

    std::optional<std::string> stored(const std::string& key) const {
        return cache->stored(Store::Shared, kStoreName, key);
    }

    std::shared_ptr<FakeSettingsService> settings;
    std::shared_ptr<OrderedStorageCache> cache;
    std::unique_ptr<TestableManager> manager;
    std::shared_ptr<HistoryStoreManager> histories;
};

}  // namespace settingsmanagertest
