#include <telemetry/settingsmanager/TelemetrySettingsManager.h>

#include <telemetry/settingsmanager/SettingsKeys.h>

#include <android/log.h>

#include <cstdlib>
#include <mutex>

namespace Tamar {
namespace OS {
namespace Telemetry {

// Stored values are parsed with atoi/atol on purpose: unreadable text reads as 0 (false),
// never as an error.

int TelemetrySettingsManager::getTelemetryLogLevel() {
    if (!syncSettings()) return 0;
    return logLevel.load();
}

bool TelemetrySettingsManager::setTelemetryLogLevel(int level) {
    if (!kvStore->setValue(kKeyLogLevel, std::to_string(level))) return false;
    logLevel.store(level);
    return true;
}

void TelemetrySettingsManager::getAndSetTelemetryLogLevel() {
    logLevel.store(std::atoi(kvStore->getValue(kKeyLogLevel, "0").c_str()));
}

bool TelemetrySettingsManager::isVerboseEnabled() {
    if (!syncSettings()) return false;
    return verbose.load();
}

bool TelemetrySettingsManager::setVerboseEnabled(bool on) {
    if (!kvStore->setValue(kKeyLogcatLevel, on ? kValueLogcatVerbose : "")) return false;
    verbose.store(on);
    return true;
}

void TelemetrySettingsManager::getAndSetVerbose() {
    verbose.store(kvStore->getValue(kKeyLogcatLevel, "") == kValueLogcatVerbose);
}

bool TelemetrySettingsManager::getTelemetryClockAdjusted() {
    return std::atoi(kvStore->getValue(kTelemetryClockAdjusted, "0").c_str()) != 0;
}

bool TelemetrySettingsManager::setTelemetryClockAdjusted(bool adjusted) {
    return kvStore->setValue(kTelemetryClockAdjusted, std::to_string(adjusted ? 1 : 0));
}

bool TelemetrySettingsManager::getTelemetryAdjustedCacheTime() {
    return std::atoi(kvStore->getValue(kTelemetryAdjustedCacheTime, "0").c_str()) != 0;
}

bool TelemetrySettingsManager::setTelemetryAdjustedCacheTime(bool adjusted) {
    return kvStore->setValue(kTelemetryAdjustedCacheTime, std::to_string(adjusted ? 1 : 0));
}

long TelemetrySettingsManager::getTelemetryTimeDistance() {
    return std::atol(kvStore->getValue(kTelemetryTimeDistance, "0").c_str());
}

bool TelemetrySettingsManager::setTelemetryTimeDistance(long distance) {
    return kvStore->setValue(kTelemetryTimeDistance, std::to_string(distance));
}

std::unordered_set<std::string> TelemetrySettingsManager::getTelemetryEventNameFilter() {
    LockGuard<Mutex> lock(eventNameFilterLock);
    return eventNameFilter;
}

bool TelemetrySettingsManager::addTelemetryEventNameFilter(std::string name) {
    LockGuard<Mutex> lock(eventNameFilterLock);
    return eventNameFilter.insert(std::move(name)).second;
}

void TelemetrySettingsManager::clearTelemetryEventNameFilter() {
    LockGuard<Mutex> lock(eventNameFilterLock);
    eventNameFilter.clear();
}

int TelemetrySettingsManager::getStatsdCollectionFrequencySec() {
    return statsdCollectionFrequencySec.load();
}

bool TelemetrySettingsManager::setStatsdCollectionFrequencySec(int seconds) {
    if (seconds < 1) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Invalid frequencyInSec value %d", seconds);
        return false;
    }
    statsdCollectionFrequencySec.store(seconds);
    return true;
}

int TelemetrySettingsManager::getHistoryStoreCleanupTimeoutSec() {
    return kHistoryStoreCleanupTimeoutSec;
}

bool TelemetrySettingsManager::getIsNuxCompleted() {
    if (!syncSettings()) return true;  // an unknown first-time state counts as completed
    return nuxCompleted.load();
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
