#pragma once

#include <halcyon/Mutex.h>
#include <halcyon/TelemetryExport.h>

#include <keyvalue/KeyValueStore.h>
#include <settingsmodule/ISettingsManager.h>
#include <telemetry/historystore/IHistoryStore.h>
#include <telemetry/settingsmanager/GateAddressIndex.h>
#include <telemetry/settingsmanager/ITelemetrySettingsManager.h>
#include <telemetry/settingsmanager/OwnerCheckedTimedMutex.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace Tamar {
namespace OS {
namespace Telemetry {

// Hash for string-keyed maps that are searched with a const char* or string_view, so that a
// lookup on a hot path builds no std::string.
struct TransparentStringHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>{}(text);
    }
};

using LowLatencyOverrideMap = std::unordered_map<std::string, bool>;

class TELEMETRY_EXPORT TelemetrySettingsManager : public BASALT::Settings::v3::ISettingsListener,
                                                  public ITelemetrySettingsManager {
public:
    static std::shared_ptr<ITelemetrySettingsManager> instance();

    TelemetrySettingsManager();
    TelemetrySettingsManager(std::shared_ptr<BASALT::Settings::v3::ISettingsManager> settings,
                             std::shared_ptr<IStorageCache> cache);
    ~TelemetrySettingsManager() override;

    TelemetrySettingsManager(const TelemetrySettingsManager&) = delete;
    TelemetrySettingsManager& operator=(const TelemetrySettingsManager&) = delete;

    // ISettingsListener
    void onSettingChange(const char* key) override;

    // Operations of this class that a subclass may replace, in their slot order.
    virtual LowLatencyOverrideMap parseLowLatencyMapFromString(const std::string& text);
    virtual bool updateGkValues();
    // Called with the remote configuration lock held.
    virtual void updateMcStrings(const char* key, const std::string& defaultValue)
            REQUIRES(mcStringsLock);
    virtual void getLatestMcStrings(const char* key);
    virtual void setLowLatencyOverrideSettings(const std::string& key, const std::string& value);
    virtual bool isServiceRunning(const char* name);
    virtual bool initializeGKs();

    // ITelemetrySettingsManager
    void setHistoryStoreManager(std::shared_ptr<HistoryStoreManager> manager) override;
    bool isTelemetryEnabled() override;
    std::optional<std::string> getTelemetryDeviceId() override;
    std::optional<std::string> getKestrelDeviceId() override;
    int getTelemetryManagedMode(const TimePoint& t, const UserId& user) override;
    bool getTelemetryLocalAccountModeEnabled(const TimePoint& t, const UserId& user) override;
    int getTelemetryLogLevel() override;
    bool setTelemetryLogLevel(int level) override;
    bool isVerboseEnabled() override;
    bool setVerboseEnabled(bool on) override;
    std::unordered_set<std::string> getTelemetryEventNameFilter() override;
    bool addTelemetryEventNameFilter(std::string name) override;
    void clearTelemetryEventNameFilter() override;
    bool getTelemetryClockAdjusted() override;
    bool setTelemetryClockAdjusted(bool adjusted) override;
    bool getTelemetryAdjustedCacheTime() override;
    bool setTelemetryAdjustedCacheTime(bool adjusted) override;
    long getTelemetryTimeDistance() override;
    bool setTelemetryTimeDistance(long distance) override;
    bool getAccountCheckpointed(const TimePoint& t) override;
    unsigned int getCurrentUser(const TimePoint& t) override;
    bool getGKFlag(const char* name) override;
    int getHistoryStoreCleanupTimeoutSec() override;
    bool getIsUserDevBuild() override;
    std::string getTelemetryAllowedSDKEventsList() override;
    std::unordered_set<std::string> getStatsdVerificationEventsList() override
            NO_THREAD_SAFETY_ANALYSIS;  // releases the remote configuration lock twice
    std::pair<bool, std::unordered_set<std::string>> getVerificationStatus() override;
    bool isEventInVerification(const std::string& eventName) override;
    std::string getRateLimiterConfig() override;
    void triggerUpload(void* context, UploadCallback callback) override;
    bool enableUpload() override;
    bool disableUpload() override;
    bool isUploadEnabled() override;
    void lockUploadState() override;
    void unlockUploadState() override;
    LowLatencyOverrideMap getLowLatencyOverrideList() override;
    std::unordered_set<std::string> getLowLatencyAllowList() override;
    void setTravelModeEnabled(bool enabled) override;
    int getStatsdCollectionFrequencySec() override;
    bool setStatsdCollectionFrequencySec(int seconds) override;
    std::string getNTSessionId() override;
    bool getIsNuxCompleted() override;

    static std::unordered_set<std::string> parseListFromString(const std::string& text);

    // Synchronisation with the settings service and the refreshes it is made of.
    bool syncSettings();
    void getAndSetTelemetryEnabled();
    void getAndSetTelemetryDeviceId();
    void getAndSetKestrelDeviceId();
    void getAndSetTelemetryManagedMode();
    void getAndSetTelemetryLocalAccountModeEnabled();
    void getAndSetAccountCheckpointed();
    void getAndSetCurrentUser();
    void getAndSetIsNuxCompleted();
    void getAndSetTelemetryLogLevel();
    void getAndSetVerbose();
    std::optional<std::string> getStringFromSettingsManager(const char* key) const;
    std::string generateKestrelId();

private:
    static std::shared_ptr<ITelemetrySettingsManager> instance_;

    // Constructor steps: the object is not shared yet, so they take no lock.
    void fillTables() NO_THREAD_SAFETY_ANALYSIS;
    bool firstSync() REQUIRES(syncLock);  // the first pass of syncSettings
    void buildLowLatencyMaps() NO_THREAD_SAFETY_ANALYSIS;

    std::shared_ptr<IHistoryStore<bool>> accountCheckpointedHistory;
    std::shared_ptr<IHistoryStore<unsigned int>> currentUserHistory;
    std::shared_ptr<IHistoryStore<bool>> localAccountModeHistory;
    std::shared_ptr<IHistoryStore<int>> managedModeHistory;
    std::shared_ptr<BASALT::Settings::v3::ISettingsManager> settingsManager;
    std::unique_ptr<KeyValueDispatch> kvStore;
    std::atomic<bool> telemetryEnabled{false};
    std::atomic<bool> initialized{false};
    // Lock order: syncLock, then mcStringsLock, then mcDataLock, then parseCacheLock (and the
    // process-wide parse lock of the low-latency parser). deviceIdLock, kestrelIdLock and
    // eventNameFilterLock are leaves. syncLock and mcStringsLock are waited for at most 60 s.
    bool synced GUARDED_BY(syncLock) = false;
    // Remote configuration lock: serialises loading and refreshing the remote strings.
    OwnerCheckedTimedMutex mcStringsLock ACQUIRED_AFTER(syncLock);
    TimedMutex syncLock;  // sync lock: one synchronisation at a time
    std::optional<std::string> telemetryDeviceId GUARDED_BY(deviceIdLock);
    Mutex deviceIdLock;
    std::optional<std::string> kestrelDeviceId GUARDED_BY(kestrelIdLock);
    Mutex kestrelIdLock;
    std::atomic<bool> localAccountModeEnabled{false};
    std::atomic<int32_t> managedMode{0};
    std::atomic<int32_t> logLevel{0};
    std::atomic<bool> verbose{false};
    std::atomic<bool> accountCheckpointed{false};
    std::atomic<uint32_t> currentUser{0};
    std::atomic<bool> travelModeEnabled{false};
    std::atomic<int32_t> statsdCollectionFrequencySec{60};
    std::atomic<bool> nuxCompleted{false};
    Mutex eventNameFilterLock;
    std::unordered_set<std::string> eventNameFilter GUARDED_BY(eventNameFilterLock);
    std::unordered_map<std::string, std::atomic<bool>, TransparentStringHash, std::equal_to<>>
            gkValueCache;
    // Remote string cache: read under mcStringsLock, written under mcStringsLock and mcDataLock.
    std::unordered_map<std::string, std::string> mcStringCache GUARDED_BY(mcStringsLock);
    Mutex mcDataLock ACQUIRED_AFTER(mcStringsLock);   // remote data lock
    Mutex parseCacheLock ACQUIRED_AFTER(mcDataLock);  // serialises low-latency parses
    std::unordered_map<std::string, LowLatencyOverrideMap> lowLatencyMaps GUARDED_BY(mcDataLock);
    std::unordered_map<const char*, GateAccessor> syspropsApiMap;
    std::unordered_set<const char*> liveGates;
    bool uploadTriggered = false;
    std::string lastOnDemandToken;
    std::atomic<bool> uploadStateLocked{false};
    GateAddressIndex gateIndex;  // filled with the gates by the constructor, read-only afterwards
};

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
