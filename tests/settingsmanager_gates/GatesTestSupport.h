#pragma once

#include <FakeStorageCache.h>

#include <hostproperties/PropertyStore.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <string>

namespace gatestest {

using Tamar::OS::Telemetry::LowLatencyOverrideMap;
using Tamar::OS::Telemetry::TelemetrySettingsManager;
using testsupport::FakeStorageCache;
namespace gk = Tamar::OS::Telemetry::TelemetryVelaconfigs;

inline constexpr char kStoreName[] = "telemetry_service_settings";
inline constexpr char kPropertyPrefix[] = "persist.device_config.halcyon_shared_os_services.";

struct GateRow {
    const char* constant;
    const char* property;  // full system property name
    bool live;
};

inline std::string prefixed(const char* suffix) {
    return std::string(kPropertyPrefix) + suffix;
}

// The 23 gates with the system property each one must read.
inline std::array<GateRow, 23> gateRows() {
    static const std::string p[] = {
            prefixed("halcyon_mobile_telemetry_intake_monitor"),
            prefixed("halcyon_mobile_telemetry_enforce_permission"),
            prefixed("halcyon_mobile_enable_dt_event_stats"),
            prefixed("halcyon_mobile_native_telemetry_legacy_sess_disable"),
            prefixed("halcyon_mobile_telemetry_enable_history_store"),
            prefixed("halcyon_mobile_telemetry_set_default_rate_limit"),
            prefixed("halcyon_mobile_telemetry_enable_verification"),
            prefixed("sorrel_enable_debugging_at_scale"),
            prefixed("halcyon_mobile_telemetry_enable_network_manager"),
            prefixed("oscontrol_on_demand_telemetry_statsd_report_enable"),
            prefixed("oscontrol_on_demand_telemetry_enable"),
            prefixed("oscontrol_enable_telemetry_session"),
            prefixed("bracken_telemetry_enable_workflow_sessions"),
            prefixed("halcyon_mobile_telemetry_purge_event"),
            prefixed("halcyon_mobile_telemetry_enable_event_hc"),
            prefixed("halcyon_mobile_telemetry_enable_tpx_hc"),
            prefixed("halcyon_mobile_telemetry_enable_wrenlogger_hc"),
            "halcyon_mobile_telemetry_enable_hc_archived_upload",
            prefixed("halcyon_mobile_telemetry_enable_graceful_shutdown"),
            prefixed("halcyon_mobile_telemetry_disable_offline_upload"),
            prefixed("halcyon_mobile_telemetry_session_donstate_redundant"),
            prefixed("halcyon_mobile_telemetry_low_latency_allow_list"),
            prefixed("halcyon_mobile_telemetry_max_exp_backoff"),
    };
    return {{
            {gk::EnableIntakeMonitor, p[0].c_str(), false},
            {gk::EnableTelemetryEnforcePermission, p[1].c_str(), false},
            {gk::EnableDtEventStats, p[2].c_str(), false},
            {gk::DisableTelemetryLegacySessions, p[3].c_str(), false},
            {gk::EnableTelemetryHistoryStore, p[4].c_str(), false},
            {gk::EnableTelemetrySetDefaultRateLimit, p[5].c_str(), true},
            {gk::EnableStatsdVerification, p[6].c_str(), true},
            {gk::EnableDebuggingAtScale, p[7].c_str(), false},
            {gk::EnableTelemetryNetworkManager, p[8].c_str(), false},
            {gk::EnableOnDemandStatsdReport, p[9].c_str(), false},
            {gk::EnableOnDemandTelemetry, p[10].c_str(), false},
            {gk::EnableTelemetrySessionCorrelation, p[11].c_str(), false},
            {gk::EnableTelemetryWorkflowSessions, p[12].c_str(), false},
            {gk::EnableTelemetryPurgeEvent, p[13].c_str(), true},
            {gk::EnableEventHealthCounters, p[14].c_str(), true},
            {gk::EnableTPXHealthCounters, p[15].c_str(), true},
            {gk::EnableWrenLoggerHealthCounters, p[16].c_str(), true},
            {gk::EnableHealthCountersArchivedFileUpload, p[17].c_str(), true},
            {gk::EnableNTGracefulShutdown, p[18].c_str(), false},
            {gk::TelemetryDisableOfflineUpload, p[19].c_str(), true},
            {gk::TelemetryRedundantDonStateUpdate, p[20].c_str(), false},
            {gk::TelemetryLowLatencyAllowList, p[21].c_str(), true},
            {gk::TelemetryUploadMaxBackoff, p[22].c_str(), false},
    }};
}

inline void setAllGateProperties(const std::string& value) {
    for (const GateRow& row : gateRows()) hostproperties::setProperty(row.property, value);
}

// The manager with its device-config probe under test control: the service is reported
// running only while `deviceConfigRunning` is set, and refreshes are counted.
class GateManager : public TelemetrySettingsManager {
public:
    explicit GateManager(std::shared_ptr<IStorageCache> cache)
        : TelemetrySettingsManager(nullptr, std::move(cache)) {}

    std::atomic<bool> deviceConfigRunning{false};
    std::atomic<int> updateMcStringsCalls{0};

    bool isServiceRunning(const char* name) override {
        return std::strcmp(name, "device_config_proxy") == 0 && deviceConfigRunning.load();
    }
    void updateMcStrings(const char* key, const std::string& defaultValue) override {
        ++updateMcStringsCalls;
        TelemetrySettingsManager::updateMcStrings(key, defaultValue);
    }
};

class GatesTest : public ::testing::Test {
protected:
    void SetUp() override {
        cache = std::make_shared<FakeStorageCache>();
        manager = std::make_unique<GateManager>(cache);
    }

    std::optional<std::string> stored(const std::string& key) const {
        return cache->stored(Store::Shared, kStoreName, key);
    }
    void store(const std::string& key, const std::string& value) {
        cache->put(Store::Shared, kStoreName, key, value);
    }
    size_t writesOf(const std::string& key) const {
        size_t n = 0;
        for (const auto& call : cache->calls()) n += call.operation == "set" && call.key == key;
        return n;
    }

    std::shared_ptr<FakeStorageCache> cache;
    std::unique_ptr<GateManager> manager;
};

}  // namespace gatestest
