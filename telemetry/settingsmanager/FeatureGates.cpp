#include <telemetry/settingsmanager/LockContention.h>
#include <telemetry/settingsmanager/RemoteConfigKeys.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <android-base/properties.h>
#include <android/log.h>
#include <sysprop/SharedOsServicesProperties.h>

#include <array>
#include <cstdlib>

namespace Tamar {
namespace OS {
namespace Telemetry {

namespace {

constexpr char kLogTag[] = "telemetry";

namespace props = halcyon::sysprop::SharedOsServicesProperties;
namespace gk = TelemetryVelaconfigs;

struct GateRecord {
    const char* name;
    bool defaultValue;
    std::optional<bool> (*accessor)();
    bool live;
};

// Refreshed in this order by updateGkValues.
const std::array<GateRecord, 23> kGateTable = {{
        {gk::EnableIntakeMonitor, false, props::telemetry_intake_monitor, false},
        {gk::EnableTelemetryEnforcePermission, false, props::telemetry_enforce_permission, false},
        {gk::EnableDtEventStats, false, props::telemetry_enable_dt_event_stats, false},
        {gk::DisableTelemetryLegacySessions, false, props::telemetry_legacy_sess_disable, false},
        {gk::EnableTelemetryHistoryStore, false, props::telemetry_enable_history_store, false},
        {gk::EnableTelemetrySetDefaultRateLimit, false, props::telemetry_set_default_rate_limit,
         true},
        {gk::EnableStatsdVerification, false, props::telemetry_enable_verification, true},
        {gk::EnableDebuggingAtScale, false, props::enable_debugging_at_scale, false},
        {gk::EnableTelemetryNetworkManager, false, props::telemetry_enable_network_manager, false},
        {gk::EnableOnDemandStatsdReport, false,
         props::oscontrol_on_demand_telemetry_statsd_report_enable, false},
        {gk::EnableOnDemandTelemetry, false, props::oscontrol_on_demand_telemetry_enable, false},
        {gk::EnableTelemetrySessionCorrelation, false, props::oscontrol_enable_telemetry_session,
         false},
        {gk::EnableTelemetryWorkflowSessions, false, props::telemetry_enable_workflow_sessions,
         false},
        {gk::EnableTelemetryPurgeEvent, false, props::telemetry_purge_event, true},
        {gk::EnableEventHealthCounters, false, props::telemetry_enable_event_hc, true},
        {gk::EnableTPXHealthCounters, false, props::telemetry_enable_tpx_hc, true},
        {gk::EnableWrenLoggerHealthCounters, false, props::telemetry_enable_wrenlogger_hc, true},
        {gk::EnableHealthCountersArchivedFileUpload, false,
         props::telemetry_enable_hc_archived_upload, true},
        {gk::EnableNTGracefulShutdown, false, props::telemetry_enable_graceful_shutdown, false},
        {gk::TelemetryDisableOfflineUpload, false, props::telemetry_disable_offline_upload, true},
        {gk::TelemetryRedundantDonStateUpdate, false, props::telemetry_session_donstate_redundant,
         false},
        {gk::TelemetryLowLatencyAllowList, false, props::telemetry_low_latency_allow_list, true},
        {gk::TelemetryUploadMaxBackoff, false, props::telemetry_max_exp_backoff, false},
}};

}  // namespace

void TelemetrySettingsManager::fillTables() {
    syspropsApiMap.max_load_factor(1.0f);
    liveGates.max_load_factor(1.0f);
    gkValueCache.max_load_factor(1.0f);
    mcStringCache.max_load_factor(1.0f);
    syspropsApiMap.reserve(kGateTable.size());
    gkValueCache.reserve(kGateTable.size());
    for (const GateRecord& gate : kGateTable) {
        syspropsApiMap.emplace(gate.name, GateAccessor(gate.accessor));
        if (gate.live) liveGates.insert(gate.name);
        // Every gate has its cache entry before any thread can query or refresh it, so the
        // unlocked readers and the possibly concurrent first refreshes never insert.
        gkValueCache.try_emplace(gate.name, gate.defaultValue);
    }
    // Map nodes never move, so the index may point into them.
    for (const GateRecord& gate : kGateTable) {
        gateIndex.add({gate.name, &gkValueCache.find(std::string_view(gate.name))->second,
                       gate.live ? &syspropsApiMap.find(gate.name)->second : nullptr});
    }
}

bool TelemetrySettingsManager::initializeGKs() {
    if (initialized.load()) return true;
    updateGkValues();

    if (!lockWithinContentionLimit(mcStringsLock)) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "Max contention period limit (60 sec.) is reached. Initialize MC "
                            "strings is failed.");
        std::abort();
    }
    {
        LockGuard<OwnerCheckedTimedMutex> hold(mcStringsLock, std::adopt_lock);
        // A thread that lost the race for the lock finds the strings already loaded.
        if (!initialized.load()) {
            if (isServiceRunning(kDeviceConfigServiceName)) {
                for (const RemoteStringKey& remote : kRemoteStringKeys) {
                    updateMcStrings(remote.key, std::string(remote.defaultValue));
                }
            } else {
                // Without the service the last mirrored copies (or the defaults) stay in force.
                for (const RemoteStringKey& remote : kRemoteStringKeys) {
                    std::string value = kvStore->getValue(remote.key, remote.defaultValue);
                    LockGuard<Mutex> data(mcDataLock);
                    std::string& cached = mcStringCache[remote.key];
                    const auto overrides = lowLatencyMaps.find(remote.key);
                    if (overrides != lowLatencyMaps.end() && value != cached) {
                        overrides->second = parseLowLatencyMapFromString(value);
                    }
                    cached = std::move(value);
                }
            }
        }
    }
    initialized.store(true);
    return initialized.load();
}

bool TelemetrySettingsManager::updateGkValues() {
    for (const GateRecord& gate : kGateTable) {
        const auto accessor = syspropsApiMap.find(gate.name);
        const bool value = accessor->second().value_or(gate.defaultValue);
        if (!kvStore->setValue(gate.name, value ? "1" : "0")) {
            __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Failed to cache %s value to kvstore",
                                gate.name);
        }
        gkValueCache.find(std::string_view(gate.name))->second.store(value);
    }
    return true;
}

namespace {

// Re-reads a live gate; a changed value is cached and mirrored into the store. Kept out of
// getGKFlag so that the cached answer stays a lookup and a load.
[[gnu::noinline]] bool readLiveGate(const GateAddressIndex::Entry& gate,
                                    const KeyValueDispatch& store) {
    const bool last = gate.value->load();
    const bool value = (*gate.liveAccessor)().value_or(last);
    if (value == last) return value;
    gate.value->store(value);
    if (!store.setValue(gate.name, value ? "1" : "0")) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "Failed to cache %s value to kvstore",
                            gate.name);
    }
    return value;
}

}  // namespace

bool TelemetrySettingsManager::getGKFlag(const char* name) {
    initializeGKs();
    // Gates are found by the address of their constant. Anything else (a copy of a gate's
    // text, an unknown name) is answered from the cache by its text, never from the property.
    // The cache is read without a lock, so an unknown name is answered false, not inserted.
    const GateAddressIndex::Entry* gate = gateIndex.find(name);
    if (gate != nullptr) {
        if (gate->liveAccessor == nullptr) return gate->value->load();
        return readLiveGate(*gate, *kvStore);
    }
    if (name == nullptr) return false;
    const auto cached = gkValueCache.find(std::string_view(name));
    return cached != gkValueCache.end() && cached->second.load();
}

bool TelemetrySettingsManager::getIsUserDevBuild() {
    static const bool userDevBuild = android::base::GetProperty("ro.build.type", "user") != "user";
    return userDevBuild;
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
