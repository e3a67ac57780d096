#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <telemetry/settingsmanager/SettingsKeys.h>

#include <android/log.h>
#include <uuid/uuid.h>

#include <mutex>

namespace Tamar {
namespace OS {
namespace Telemetry {

std::optional<std::string> TelemetrySettingsManager::getTelemetryDeviceId() {
    if (!syncSettings()) return std::nullopt;
    LockGuard<Mutex> lock(deviceIdLock);
    return telemetryDeviceId;
}

std::optional<std::string> TelemetrySettingsManager::getKestrelDeviceId() {
    if (!syncSettings()) return std::nullopt;
    LockGuard<Mutex> lock(kestrelIdLock);
    return kestrelDeviceId;
}

void TelemetrySettingsManager::getAndSetTelemetryDeviceId() {
    LockGuard<Mutex> lock(deviceIdLock);
    if (telemetryDeviceId.has_value()) return;  // write-once
    telemetryDeviceId = getStringFromSettingsManager(kKeyDeviceEntId);
}

void TelemetrySettingsManager::getAndSetKestrelDeviceId() {
    LockGuard<Mutex> lock(kestrelIdLock);
    if (kestrelDeviceId.has_value()) return;  // write-once

    // The settings service's value wins; the local copy is then left alone.
    if (auto published = getStringFromSettingsManager(kKeyKestrelDeviceId)) {
        kestrelDeviceId = std::move(published);
        return;
    }

    // The key-value copy lets the id survive a loss of the settings service's data; a new id
    // is made only when both places are empty.
    std::string id = kvStore->getValue(kTelemetryKestrelDeviceId, "");
    if (id.empty()) {
        id = generateKestrelId();
        if (!kvStore->setValue(kTelemetryKestrelDeviceId, id)) {
            __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                                "Failed to cache generated kestrel ID to kvstore");
            return;
        }
    }
    // Cached only once published, so a later refresh publishes the stored copy again.
    if (settingsManager->setString(kKeyKestrelDeviceId, id.c_str())) {
        kestrelDeviceId = std::move(id);
    }
}

std::string TelemetrySettingsManager::generateKestrelId() {
    uuid_t uuid;
    uuid_generate(uuid);
    char text[37] = {};
    uuid_unparse(uuid, text);
    return std::string(text);
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
