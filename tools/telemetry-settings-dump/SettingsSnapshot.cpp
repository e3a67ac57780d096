#include "SettingsSnapshot.h"

#include "HistoryDump.h"

#include <keyvalue/KeyValueStore.h>
#include <telemetry/settingsmanager/RemoteConfigKeys.h>
#include <telemetry/settingsmanager/SettingsKeys.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <algorithm>
#include <chrono>
#include <memory>

namespace telemetrydump {
namespace {

namespace vela = Tamar::OS::Telemetry::TelemetryVelaconfigs;
using Tamar::OS::Telemetry::ITelemetrySettingsManager;

struct GateConstant {
    const char* constantName;
    const char* gate;  // the constant itself: gates are looked up by its address
};

#define TELEMETRY_DUMP_GATE(constant) \
    { #constant, vela::constant }
const GateConstant kGates[] = {
        TELEMETRY_DUMP_GATE(EnableIntakeMonitor),
        TELEMETRY_DUMP_GATE(EnableTelemetryEnforcePermission),
        TELEMETRY_DUMP_GATE(EnableDtEventStats),
        TELEMETRY_DUMP_GATE(DisableTelemetryLegacySessions),
        TELEMETRY_DUMP_GATE(EnableTelemetryHistoryStore),
        TELEMETRY_DUMP_GATE(EnableTelemetrySetDefaultRateLimit),
        TELEMETRY_DUMP_GATE(EnableStatsdVerification),
        TELEMETRY_DUMP_GATE(EnableDebuggingAtScale),
        TELEMETRY_DUMP_GATE(EnableTelemetryNetworkManager),
        TELEMETRY_DUMP_GATE(EnableOnDemandStatsdReport),
        TELEMETRY_DUMP_GATE(EnableOnDemandTelemetry),
        TELEMETRY_DUMP_GATE(EnableTelemetrySessionCorrelation),
        TELEMETRY_DUMP_GATE(EnableTelemetryWorkflowSessions),
        TELEMETRY_DUMP_GATE(EnableTelemetryPurgeEvent),
        TELEMETRY_DUMP_GATE(EnableEventHealthCounters),
        TELEMETRY_DUMP_GATE(EnableTPXHealthCounters),
        TELEMETRY_DUMP_GATE(EnableWrenLoggerHealthCounters),
        TELEMETRY_DUMP_GATE(EnableHealthCountersArchivedFileUpload),
        TELEMETRY_DUMP_GATE(EnableNTGracefulShutdown),
        TELEMETRY_DUMP_GATE(TelemetryDisableOfflineUpload),
        TELEMETRY_DUMP_GATE(TelemetryRedundantDonStateUpdate),
        TELEMETRY_DUMP_GATE(TelemetryLowLatencyAllowList),
        TELEMETRY_DUMP_GATE(TelemetryUploadMaxBackoff),
};
#undef TELEMETRY_DUMP_GATE

using Tamar::OS::Telemetry::kDeviceConfigNamespace;
using Tamar::OS::Telemetry::kRemoteStringKeys;

AccountState accountStateAt(ITelemetrySettingsManager& manager,
                            const ITelemetrySettingsManager::TimePoint& t) {
    AccountState state;
    const ITelemetrySettingsManager::UserId noUser;
    state.managedMode = manager.getTelemetryManagedMode(t, noUser);
    state.localAccountMode = manager.getTelemetryLocalAccountModeEnabled(t, noUser);
    state.accountCheckpointed = manager.getAccountCheckpointed(t);
    state.currentUser = manager.getCurrentUser(t);
    return state;
}

template <typename Set>
std::vector<std::string> sorted(const Set& items) {
    std::vector<std::string> out(items.begin(), items.end());
    std::sort(out.begin(), out.end());
    return out;
}

int64_t nanosSinceBoot(std::chrono::steady_clock::time_point t) {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(t.time_since_epoch()).count();
}

// The remote strings in force, each with where it came from. With a device-config service
// the manager takes its value, or the built-in default when it holds none; without one the
// manager keeps the key-value store's copy, and a copy equal to the default is shown as that.
std::vector<RemoteString> remoteStrings(ITelemetrySettingsManager& manager,
                                        const DeviceConfigLookup& deviceConfig) {
    std::vector<RemoteString> out;
    const KeyValueDispatch store(Store::Shared, Tamar::OS::Telemetry::kTelemetryServiceSetting,
                                 std::make_shared<StorageCache>());
    for (const auto& remote : kRemoteStringKeys) {
        RemoteString entry{remote.key, remote.defaultValue, RemoteSource::kBuiltInDefault};
        if (deviceConfig) {
            if (auto served = deviceConfig(kDeviceConfigNamespace, remote.key)) {
                entry.value = *served;
                entry.source = RemoteSource::kDeviceConfigService;
            }
        } else {
            entry.value = store.getValue(remote.key, remote.defaultValue);
            if (entry.value != remote.defaultValue) entry.source = RemoteSource::kKeyValueStore;
        }
        out.push_back(std::move(entry));
    }
    // The two strings the manager answers directly are taken from its answers.
    for (auto& entry : out) {
        if (entry.key == vela::TelemetryAllowedSDKEventsList) {
            entry.value = manager.getTelemetryAllowedSDKEventsList();
        } else if (entry.key == vela::RateLimiterConfig) {
            entry.value = manager.getRateLimiterConfig();
        }
    }
    return out;
}

}  // namespace

SettingsSnapshot collectSnapshot(ITelemetrySettingsManager& manager,
                                 const Tamar::OS::Telemetry::HistoryStoreManager& histories,
                                 const DeviceConfigLookup& deviceConfig,
                                 const DumpOptions& options) {
    SettingsSnapshot s;
    // The first reading operation synchronises and records the account state, so "now" is
    // taken after it.
    s.telemetryEnabled = manager.isTelemetryEnabled();
    const auto now = std::chrono::steady_clock::now();
    s.telemetryDeviceId = manager.getTelemetryDeviceId();
    s.kestrelDeviceId = manager.getKestrelDeviceId();
    s.now = accountStateAt(manager, now);

    s.historiesText = histories.dump();
    const int64_t nowNs = nanosSinceBoot(now);
    s.histories = parseHistoryDump(s.historiesText, nowNs / 3'600'000'000'000 + 1);
    for (const History& history : s.histories) {
        if (history.entries.empty()) continue;
        const int64_t age = nowNs - history.entries.front().timeNs;
        s.oldestHistoryAgeNs = std::max(s.oldestHistoryAgeNs.value_or(0), age);
    }
    if (options.at) {
        s.earlierSecondsAgo = options.at->count();
        // Only an instant that every account-state history covers has a recorded answer;
        // before that the manager would answer its defaults, which are no state at all.
        const auto then = now - *options.at;
        const auto covered =
                parseHistoryDump(histories.dump(std::nullopt, then), nowNs / 3'600'000'000'000 + 1);
        const bool reaches = !covered.empty() &&
                             std::all_of(covered.begin(), covered.end(),
                                         [](const History& h) { return !h.entries.empty(); });
        if (reaches) s.earlier = accountStateAt(manager, then);
    }
    s.nuxCompleted = manager.getIsNuxCompleted();
    s.logLevel = manager.getTelemetryLogLevel();
    s.verbose = manager.isVerboseEnabled();
    s.clockAdjusted = manager.getTelemetryClockAdjusted();
    s.adjustedCacheTime = manager.getTelemetryAdjustedCacheTime();
    s.timeDistance = manager.getTelemetryTimeDistance();
    s.eventNameFilter = sorted(manager.getTelemetryEventNameFilter());
    s.statsdCollectionFrequencySec = manager.getStatsdCollectionFrequencySec();
    s.historyCleanupTimeoutSec = manager.getHistoryStoreCleanupTimeoutSec();
    for (const auto& gate : kGates) {
        s.gates.push_back({gate.constantName, gate.gate, manager.getGKFlag(gate.gate)});
    }
    s.userDevBuild = manager.getIsUserDevBuild();
    s.remoteStrings = remoteStrings(manager, deviceConfig);

    auto [verificationOn, events] = manager.getVerificationStatus();
    s.verificationEnabled = verificationOn;
    s.verificationEvents = sorted(events);
    for (const auto& [event, lowLatency] : manager.getLowLatencyOverrideList()) {
        s.lowLatencyOverrides.emplace_back(event, lowLatency);
    }
    std::sort(s.lowLatencyOverrides.begin(), s.lowLatencyOverrides.end());
    s.lowLatencyAllowList = sorted(manager.getLowLatencyAllowList());
    s.uploadEnabled = manager.isUploadEnabled();
    s.sessionId = manager.getNTSessionId();
    return s;
}

}  // namespace telemetrydump
