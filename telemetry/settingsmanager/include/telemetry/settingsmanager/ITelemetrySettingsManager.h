#pragma once

#include <halcyon/TelemetryExport.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>

namespace Tamar {
namespace OS {
namespace Telemetry {

class HistoryStoreManager;

// How telemetry behaves on this device, as one process sees it. Reached through
// TelemetrySettingsManager::instance(). The slot order of the operations is ABI.
class TELEMETRY_EXPORT ITelemetrySettingsManager {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using UserId = std::optional<unsigned int>;
    using UploadCallback = void (*)(void* context, bool result);

    virtual ~ITelemetrySettingsManager() = default;

    virtual void setHistoryStoreManager(std::shared_ptr<HistoryStoreManager> manager) = 0;
    virtual bool isTelemetryEnabled() = 0;
    virtual std::optional<std::string> getTelemetryDeviceId() = 0;
    virtual std::optional<std::string> getKestrelDeviceId() = 0;
    virtual int getTelemetryManagedMode(const TimePoint& t, const UserId& user) = 0;
    virtual bool getTelemetryLocalAccountModeEnabled(const TimePoint& t, const UserId& user) = 0;
    virtual int getTelemetryLogLevel() = 0;
    virtual bool setTelemetryLogLevel(int level) = 0;
    virtual bool isVerboseEnabled() = 0;
    virtual bool setVerboseEnabled(bool on) = 0;
    virtual std::unordered_set<std::string> getTelemetryEventNameFilter() = 0;
    virtual bool addTelemetryEventNameFilter(std::string name) = 0;
    virtual void clearTelemetryEventNameFilter() = 0;
    virtual bool getTelemetryClockAdjusted() = 0;
    virtual bool setTelemetryClockAdjusted(bool adjusted) = 0;
    virtual bool getTelemetryAdjustedCacheTime() = 0;
    virtual bool setTelemetryAdjustedCacheTime(bool adjusted) = 0;
    virtual long getTelemetryTimeDistance() = 0;
    virtual bool setTelemetryTimeDistance(long distance) = 0;
    virtual bool getAccountCheckpointed(const TimePoint& t) = 0;
    virtual unsigned int getCurrentUser(const TimePoint& t) = 0;
    virtual bool getGKFlag(const char* name) = 0;
    virtual int getHistoryStoreCleanupTimeoutSec() = 0;
    virtual bool getIsUserDevBuild() = 0;
    virtual std::string getTelemetryAllowedSDKEventsList() = 0;
    virtual std::unordered_set<std::string> getStatsdVerificationEventsList() = 0;
    virtual std::pair<bool, std::unordered_set<std::string>> getVerificationStatus() = 0;
    virtual bool isEventInVerification(const std::string& eventName) = 0;
    virtual std::string getRateLimiterConfig() = 0;
    virtual void triggerUpload(void* context, UploadCallback callback) = 0;
    virtual bool enableUpload() = 0;
    virtual bool disableUpload() = 0;
    virtual bool isUploadEnabled() = 0;
    virtual void lockUploadState() = 0;
    virtual void unlockUploadState() = 0;
    virtual std::unordered_map<std::string, bool> getLowLatencyOverrideList() = 0;
    virtual std::unordered_set<std::string> getLowLatencyAllowList() = 0;
    virtual void setTravelModeEnabled(bool enabled) = 0;
    virtual int getStatsdCollectionFrequencySec() = 0;
    virtual bool setStatsdCollectionFrequencySec(int seconds) = 0;
    virtual std::string getNTSessionId() = 0;
    virtual bool getIsNuxCompleted() = 0;
};

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
