#pragma once

#include "DumpOptions.h"

#include <telemetry/historystore/HistoryStoreManager.h>
#include <telemetry/settingsmanager/ITelemetrySettingsManager.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace telemetrydump {

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

struct RemoteString {
    std::string key;
    std::string value;
    std::string source;  // where the shown value came from
};

// Everything the settings manager answers in this process, read once.
struct SettingsSnapshot {
    bool telemetryEnabled = false;
    std::optional<std::string> telemetryDeviceId;
    std::optional<std::string> kestrelDeviceId;
    AccountState now;
    std::optional<int64_t> earlierSecondsAgo;
    std::optional<AccountState> earlier;
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
    std::string histories;
};

SettingsSnapshot collectSnapshot(Tamar::OS::Telemetry::ITelemetrySettingsManager& manager,
                                 const Tamar::OS::Telemetry::HistoryStoreManager& histories,
                                 const DumpOptions& options);

}  // namespace telemetrydump
