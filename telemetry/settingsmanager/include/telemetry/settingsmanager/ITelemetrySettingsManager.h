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
//
// Every operation may be called from any thread. "Synchronises" means the call first runs
// the one-time synchronisation with the settings service and answers a fixed default while
// that is not possible yet. Synchronising operations, getGKFlag and the remote-configuration
// readers (allow-list, verification list and status, rate limiter, low-latency overrides)
// may wait up to 60 s for a lock held by a stuck synchronisation and then abort the process
// deliberately; the remote-configuration readers also make a binder call while the
// device-configuration service runs.
class TELEMETRY_EXPORT ITelemetrySettingsManager {
public:
    using TimePoint = std::chrono::steady_clock::time_point;
    using UserId = std::optional<unsigned int>;
    using UploadCallback = void (*)(void* context, bool result);

    virtual ~ITelemetrySettingsManager() = default;

    // Creates the four account-state histories in `manager`; call once at start-up, before any
    // synchronising operation (those record into the histories without a null check).
    virtual void setHistoryStoreManager(std::shared_ptr<HistoryStoreManager> manager) = 0;
    // Synchronises; the "telemetry_state" setting is "on". False while unsynchronised.
    virtual bool isTelemetryEnabled() = 0;
    // Synchronises; the settings service's device id, empty while unsynchronised or unset.
    virtual std::optional<std::string> getTelemetryDeviceId() = 0;
    // Synchronises; the analytics id (created and published once if none exists), or empty.
    virtual std::optional<std::string> getKestrelDeviceId() = 0;
    // Synchronises; managed mode at `t` for `user` (history gate on) or now; -1 when unknown.
    virtual int getTelemetryManagedMode(const TimePoint& t, const UserId& user) = 0;
    // Synchronises; local-account mode at `t` for `user`, or now; false when unknown.
    virtual bool getTelemetryLocalAccountModeEnabled(const TimePoint& t, const UserId& user) = 0;
    // Synchronises; the persisted log level, 0 while unsynchronised.
    virtual int getTelemetryLogLevel() = 0;
    // Persists `level`; false (cache unchanged) when the store write fails.
    virtual bool setTelemetryLogLevel(int level) = 0;
    // Synchronises; whether verbose logging is persisted as on. False while unsynchronised.
    virtual bool isVerboseEnabled() = 0;
    // Persists the verbose flag; false (cache unchanged) when the store write fails.
    virtual bool setVerboseEnabled(bool on) = 0;
    // A copy of the in-memory event-name filter.
    virtual std::unordered_set<std::string> getTelemetryEventNameFilter() = 0;
    // Adds `name` to the filter; false when it was already there.
    virtual bool addTelemetryEventNameFilter(std::string name) = 0;
    // Empties the event-name filter.
    virtual void clearTelemetryEventNameFilter() = 0;
    // The persisted clock-adjusted flag (false when unset).
    virtual bool getTelemetryClockAdjusted() = 0;
    // Persists the clock-adjusted flag; false when the store write fails.
    virtual bool setTelemetryClockAdjusted(bool adjusted) = 0;
    // The persisted adjusted-cache-time flag (false when unset).
    virtual bool getTelemetryAdjustedCacheTime() = 0;
    // Persists the adjusted-cache-time flag; false when the store write fails.
    virtual bool setTelemetryAdjustedCacheTime(bool adjusted) = 0;
    // The persisted clock correction, 0 when unset.
    virtual long getTelemetryTimeDistance() = 0;
    // Persists the clock correction; false when the store write fails.
    virtual bool setTelemetryTimeDistance(long distance) = 0;
    // Synchronises; whether the account was checkpointed at `t` (or now); false when unknown.
    virtual bool getAccountCheckpointed(const TimePoint& t) = 0;
    // Synchronises; the current user at `t` (or now); 0 when unknown.
    virtual unsigned int getCurrentUser(const TimePoint& t) = 0;
    // The feature gate `name` (pass the TelemetryVelaconfigs constant itself); false when unknown.
    virtual bool getGKFlag(const char* name) = 0;
    // Age in seconds beyond which history entries may be cleaned up (1800).
    virtual int getHistoryStoreCleanupTimeoutSec() = 0;
    // True unless the build type is "user" (or unset); fixed after the first call.
    virtual bool getIsUserDevBuild() = 0;
    // The raw remote allow-list of SDK events, refreshed from device config when it runs.
    virtual std::string getTelemetryAllowedSDKEventsList() = 0;
    // The remote verification event list, refreshed from device config when it runs.
    virtual std::unordered_set<std::string> getStatsdVerificationEventsList() = 0;
    // Whether verification is gated on and, if so, the events under verification.
    virtual std::pair<bool, std::unordered_set<std::string>> getVerificationStatus() = 0;
    // True when verification is gated on and `eventName` is in the verification list.
    virtual bool isEventInVerification(const std::string& eventName) = 0;
    // The raw remote rate-limiter configuration, refreshed from device config when it runs.
    virtual std::string getRateLimiterConfig() = 0;
    // Starts an upload (pointing the logger at the on-demand endpoint when a token is set);
    // `callback(context, result)` reports its outcome.
    virtual void triggerUpload(void* context, UploadCallback callback) = 0;
    // Asks the logger to upload; false when the upload state is locked.
    virtual bool enableUpload() = 0;
    // Asks the logger to stop uploading; false when the upload state is locked.
    virtual bool disableUpload() = 0;
    // The logger's answer whether uploading is on.
    virtual bool isUploadEnabled() = 0;
    // Makes enableUpload/disableUpload refuse until unlockUploadState.
    virtual void lockUploadState() = 0;
    // Lets enableUpload/disableUpload through again.
    virtual void unlockUploadState() = 0;
    // Events sent with low latency (QoS overrides, plus travel-mode ones while travel mode is on).
    virtual std::unordered_map<std::string, bool> getLowLatencyOverrideList() = 0;
    // The fixed set of events allowed to request low latency.
    virtual std::unordered_set<std::string> getLowLatencyAllowList() = 0;
    // Switches the travel-mode overrides on or off.
    virtual void setTravelModeEnabled(bool enabled) = 0;
    // The statsd collection period in seconds (60 until set).
    virtual int getStatsdCollectionFrequencySec() = 0;
    // Sets the statsd collection period; false (and logged) unless `seconds` > 0.
    virtual bool setStatsdCollectionFrequencySec(int seconds) = 0;
    // The logger's current NT session id.
    virtual std::string getNTSessionId() = 0;
    // Synchronises; whether the first-time experience is complete. True while unsynchronised.
    virtual bool getIsNuxCompleted() = 0;
};

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
