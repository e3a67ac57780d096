#pragma once

#include "DumpOptions.h"

#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/ITelemetrySettingsManager.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace telemetrydump {

// What the device-config service of this process holds for (namespace, key); empty when no
// such service runs here.
using DeviceConfigLookup =
        std::function<std::optional<std::string>(const std::string& ns, const std::string& key)>;

// The account state that the settings manager answers for one instant.
struct AccountState {
    int managedMode = -1;
    bool localAccountMode = false;
    bool accountCheckpointed = false;
    unsigned int currentUser = 0;
};

struct GateValue {
    std::string constant;  // TelemetryVelaconfigs name
    std::string name;      // gate name
    bool value = false;
};

// Where a remote configuration string in force came from.
enum class RemoteSource { kDeviceConfigService, kBuiltInDefault, kKeyValueStore };

struct RemoteString {
    std::string key;
    std::string value;
    RemoteSource source = RemoteSource::kBuiltInDefault;
};

struct HistoryEntry {
    unsigned int user = 0;
    int64_t timeNs = 0;  // steady clock, since boot
    std::string value;
};

struct History {
    std::string name;
    std::vector<HistoryEntry> entries;  // oldest first
};

// Everything the settings manager answers in this process, read once.
struct SettingsSnapshot {
    bool telemetryEnabled = false;
    std::optional<std::string> telemetryDeviceId;
    std::optional<std::string> kestrelDeviceId;
    AccountState now;
    std::optional<int64_t> earlierSecondsAgo;   // set when asked for with --at
    std::optional<AccountState> earlier;        // empty when no history reaches back that far
    std::optional<int64_t> oldestHistoryAgeNs;  // age of the oldest history entry
    bool nuxCompleted = true;
    int logLevel = 0;
    bool verbose = false;
    bool clockAdjusted = false;
    bool adjustedCacheTime = false;
    long timeDistance = 0;
    std::vector<std::string> eventNameFilter;
    int statsdCollectionFrequencySec = 0;
    int historyCleanupTimeoutSec = 0;
    std::vector<GateValue> gates;
    bool userDevBuild = false;
    std::vector<RemoteString> remoteStrings;
    bool verificationEnabled = false;
    std::vector<std::string> verificationEvents;
    std::vector<std::pair<std::string, bool>> lowLatencyOverrides;
    std::vector<std::string> lowLatencyAllowList;
    bool uploadEnabled = false;
    std::string sessionId;
    std::string historiesText;  // the library's own dump
    std::vector<History> histories;
};

SettingsSnapshot collectSnapshot(Tamar::OS::Telemetry::ITelemetrySettingsManager& manager,
                                 const Tamar::OS::Telemetry::HistoryStoreManager& histories,
                                 const DeviceConfigLookup& deviceConfig, const DumpOptions& options);

}  // namespace telemetrydump
