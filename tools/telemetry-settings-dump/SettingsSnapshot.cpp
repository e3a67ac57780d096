#include "SettingsSnapshot.h"

#include <deviceconfig/DeviceConfig.h>
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
using Tamar::OS::Telemetry::kQosOverrideKey;
using Tamar::OS::Telemetry::kTelemetryServiceSetting;
using Tamar::OS::Telemetry::kTravelModeOverrideKey;

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

// The remote strings the manager keeps but does not answer directly: read them where the
// manager reads them, the device-config service first, then the key-value store copy.
std::vector<RemoteString> otherRemoteStrings() {
    const std::vector<std::string> keys = {vela::StatsdEventVerificationList, kQosOverrideKey,
                                           kTravelModeOverrideKey};
    std::vector<RemoteString> out;
    com::halcyon::deviceconfig::DeviceConfig deviceConfig;
    const bool serviceUp = deviceConfig.isDeviceConfigAvailable();
    std::optional<com::halcyon::deviceconfig::Properties> remote;
    if (serviceUp) {
        remote = deviceConfig.getProperties(kDeviceConfigNamespace, {keys[0], keys[1], keys[2]});
    }
    KeyValueDispatch store(Store::Shared, kTelemetryServiceSetting,
                           std::make_shared<StorageCache>());
    for (const auto& key : keys) {
        RemoteString entry{key, "", "built-in default"};
        constexpr char kAbsent[] =
                "\x01"
                "absent";
        std::string value = remote ? remote->getString(key, kAbsent) : kAbsent;
        if (value != kAbsent) {
            entry.value = value;
            entry.source = "device-config service";
        } else if (std::string stored = store.getValue(key, kAbsent); stored != kAbsent) {
            entry.value = stored;
            entry.source = "key-value store";
        }
        out.push_back(entry);
    }
    return out;
}

}  // namespace

SettingsSnapshot collectSnapshot(ITelemetrySettingsManager& manager,
                                 const Tamar::OS::Telemetry::HistoryStoreManager& histories,
                                 const DumpOptions& options) {
    SettingsSnapshot s;
    // The first reading operation synchronises and records the account state, so "now" is
    // taken after it.
    s.telemetryEnabled = manager.isTelemetryEnabled();
    const auto now = std::chrono::steady_clock::now();
    s.telemetryDeviceId = manager.getTelemetryDeviceId();
    s.kestrelDeviceId = manager.getKestrelDeviceId();
    s.now = accountStateAt(manager, now);
    if (options.at) {
        s.earlierSecondsAgo = options.at->count();
        s.earlier = accountStateAt(manager, now - *options.at);
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

    s.remoteStrings.push_back({vela::TelemetryAllowedSDKEventsList,
                               manager.getTelemetryAllowedSDKEventsList(), "settings manager"});
    s.remoteStrings.push_back(
            {vela::RateLimiterConfig, manager.getRateLimiterConfig(), "settings manager"});
    for (auto& entry : otherRemoteStrings()) s.remoteStrings.push_back(std::move(entry));

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
    s.histories = histories.dump();
    return s;
}

}  // namespace telemetrydump
