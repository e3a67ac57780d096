#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <settingsmodule/SettingsManagerLoader.h>
#include <telemetry/settingsmanager/LockContention.h>
#include <telemetry/settingsmanager/SettingsKeys.h>

#include <android/log.h>
#include <binder/IServiceManager.h>
#include <utils/String16.h>

#include <cstdlib>
#include <cstring>
#include <mutex>

namespace Tamar {
namespace OS {
namespace Telemetry {

bool TelemetrySettingsManager::syncSettings() {
    if (!lockWithinContentionLimit(syncLock)) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "Max contention period limit (60 sec.) is reached. "
                            "TelemetrySettingsManager::syncSettings is failed.");
        std::abort();
    }
    LockGuard<TimedMutex> guard(syncLock, std::adopt_lock);

    initializeGKs();
    if (synced) return true;
    return firstSync();
}

// Kept out of syncSettings so that the pass every reader makes once synchronised is small
// enough to be inlined into the readers.
[[gnu::noinline]] bool TelemetrySettingsManager::firstSync() {
    if (!isServiceRunning(kPreferencesServiceName)) return false;
    if (settingsManager == nullptr) {
        settingsManager = BASALT::Settings::v3::createSettingsManagerPtr();
        if (settingsManager == nullptr) return false;
    }

    getAndSetTelemetryEnabled();
    getAndSetTelemetryDeviceId();
    getAndSetKestrelDeviceId();
    getAndSetTelemetryManagedMode();
    getAndSetTelemetryLocalAccountModeEnabled();
    getAndSetTelemetryLogLevel();
    getAndSetVerbose();
    getAndSetAccountCheckpointed();
    getAndSetCurrentUser();
    getAndSetIsNuxCompleted();
    for (const char* key : kListenedKeys) settingsManager->addListener(key, this);
    synced = true;
    return true;
}

bool TelemetrySettingsManager::isTelemetryEnabled() {
    if (!syncSettings()) return false;
    return telemetryEnabled.load();
}

void TelemetrySettingsManager::getAndSetTelemetryEnabled() {
    const BASALT::Settings::v3::ISettingValue* value =
            settingsManager->get(kKeyTelemetryState, kTelemetryStateOff);
    const char* text = value != nullptr ? value->getString() : kTelemetryStateOff;
    telemetryEnabled.store(text != nullptr && std::strcmp(text, kTelemetryStateOn) == 0);
}

void TelemetrySettingsManager::getAndSetTelemetryManagedMode() {
    const int32_t mode = settingsManager->getInt(kKeyManagedDevice, -1);
    managedMode.store(mode);
    managedModeHistory->insert(mode);
}

void TelemetrySettingsManager::getAndSetTelemetryLocalAccountModeEnabled() {
    const bool enabled = settingsManager->getBool(kKeyLocalAccountModeEnabled, false);
    localAccountModeEnabled.store(enabled);
    localAccountModeHistory->insert(enabled);
}

void TelemetrySettingsManager::getAndSetAccountCheckpointed() {
    const bool checkpointed = settingsManager->getBool(kKeyAccountCheckpointed, false);
    accountCheckpointed.store(checkpointed);
    accountCheckpointedHistory->insert(checkpointed);
}

void TelemetrySettingsManager::getAndSetCurrentUser() {
    const auto user = static_cast<unsigned int>(settingsManager->getInt(kKeyCurrentUser, 0));
    currentUser.store(user);
    currentUserHistory->insert(user);
}

void TelemetrySettingsManager::getAndSetIsNuxCompleted() {
    nuxCompleted.store(settingsManager->getBool(kKeyNuxComplete, true));
}

void TelemetrySettingsManager::onSettingChange(const char* key) {
    // Independent tests rather than a chain, so each key is matched on its own.
    if (std::strcmp(key, kKeyTelemetryState) == 0) getAndSetTelemetryEnabled();
    if (std::strcmp(key, kKeyDeviceEntId) == 0) getAndSetTelemetryDeviceId();
    if (std::strcmp(key, kKeyKestrelDeviceId) == 0) getAndSetKestrelDeviceId();
    if (std::strcmp(key, kKeyManagedDevice) == 0) getAndSetTelemetryManagedMode();
    if (std::strcmp(key, kKeyLocalAccountModeEnabled) == 0) {
        getAndSetTelemetryLocalAccountModeEnabled();
    }
    if (std::strcmp(key, kKeyAccountCheckpointed) == 0) getAndSetAccountCheckpointed();
    if (std::strcmp(key, kKeyCurrentUser) == 0) getAndSetCurrentUser();
    if (std::strcmp(key, kKeyNuxComplete) == 0) getAndSetIsNuxCompleted();
}

bool TelemetrySettingsManager::isServiceRunning(const char* name) {
    // Kept until process exit: the service manager outlives every caller.
    static const android::sp<android::IServiceManager> serviceManager =
            android::defaultServiceManager();
    if (serviceManager == nullptr) return false;
    return serviceManager->checkService(android::String16(name)) != nullptr;
}

std::optional<std::string> TelemetrySettingsManager::getStringFromSettingsManager(
        const char* key) const {
    const BASALT::Settings::v3::ISettingValue* value = settingsManager->get(key, "");
    if (value == nullptr || value->getType() != BASALT::Settings::v3::kSettingTypeString) {
        return std::nullopt;
    }
    const char* text = value->getString();
    if (text == nullptr || text[0] == '\0') return std::nullopt;
    return std::string(text);
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
