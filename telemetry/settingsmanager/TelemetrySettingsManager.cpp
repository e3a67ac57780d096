#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <settingsmodule/SettingsManagerLoader.h>
#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/SettingsKeys.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <mutex>
#include <utility>

namespace Tamar {
namespace OS {
namespace Telemetry {

std::shared_ptr<ITelemetrySettingsManager> TelemetrySettingsManager::instance_;

std::shared_ptr<ITelemetrySettingsManager> TelemetrySettingsManager::instance() {
    static std::once_flag once;
    // The shared pointer owns the whole object, so its deleter runs the full destructor.
    // instance_ is never reset: the singleton lives until the process ends.
    std::call_once(once, [] {
        instance_ = std::shared_ptr<TelemetrySettingsManager>(new TelemetrySettingsManager());
    });
    return instance_;
}

TelemetrySettingsManager::TelemetrySettingsManager() {
    fillTables();
    settingsManager = BASALT::Settings::v3::createSettingsManagerPtr();
    kvStore = std::make_unique<KeyValueDispatch>(Store::Shared, kTelemetryServiceSetting,
                                                 std::make_shared<StorageCache>());
    buildLowLatencyMaps();
    initialized.store(false);
    synced = false;
}

TelemetrySettingsManager::TelemetrySettingsManager(
        std::shared_ptr<BASALT::Settings::v3::ISettingsManager> settings,
        std::shared_ptr<IStorageCache> cache) {
    fillTables();
    settingsManager = std::move(settings);
    kvStore = std::make_unique<KeyValueDispatch>(Store::Shared, kTelemetryServiceSetting,
                                                 std::move(cache));
    buildLowLatencyMaps();
    initialized.store(false);
    synced = false;
}

TelemetrySettingsManager::~TelemetrySettingsManager() {
    // Listeners exist only after a synchronisation, which also guarantees a settings service.
    if (synced) {
        for (const char* key : kListenedKeys) settingsManager->removeListener(key, this);
    }
}

void TelemetrySettingsManager::setHistoryStoreManager(std::shared_ptr<HistoryStoreManager> manager) {
    accountCheckpointedHistory =
            manager->createHistoryStore<bool>(HistoryStoreManager::ACCOUNT_CHECKPOINTED, 1);
    currentUserHistory =
            manager->createHistoryStore<unsigned int>(HistoryStoreManager::CURRENT_USER, 1);
    localAccountModeHistory =
            manager->createHistoryStore<bool>(HistoryStoreManager::LOCAL_ACCOUNT_MODE, 1);
    managedModeHistory = manager->createHistoryStore<int>(HistoryStoreManager::MANAGED_MODE, 1);
}

int TelemetrySettingsManager::getTelemetryManagedMode(const TimePoint& t, const UserId& user) {
    if (!syncSettings()) return -1;
    if (!getGKFlag(TelemetryVelaconfigs::EnableTelemetryHistoryStore)) return managedMode.load();
    return managedModeHistory->find(t, user).value_or(-1);
}

bool TelemetrySettingsManager::getTelemetryLocalAccountModeEnabled(const TimePoint& t,
                                                                   const UserId& user) {
    if (!syncSettings()) return false;
    if (!getGKFlag(TelemetryVelaconfigs::EnableTelemetryHistoryStore)) {
        return localAccountModeEnabled.load();
    }
    return localAccountModeHistory->find(t, user).value_or(false);
}

bool TelemetrySettingsManager::getAccountCheckpointed(const TimePoint& t) {
    if (!syncSettings()) return false;
    if (!getGKFlag(TelemetryVelaconfigs::EnableTelemetryHistoryStore)) {
        return accountCheckpointed.load();
    }
    return accountCheckpointedHistory->find(t, std::nullopt).value_or(false);
}

unsigned int TelemetrySettingsManager::getCurrentUser(const TimePoint& t) {
    if (!syncSettings()) return 0;
    if (!getGKFlag(TelemetryVelaconfigs::EnableTelemetryHistoryStore)) return currentUser.load();
    return currentUserHistory->find(t, std::nullopt).value_or(0u);
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
