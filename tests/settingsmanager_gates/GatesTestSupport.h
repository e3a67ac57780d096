#pragma once

#include <FakeStorageCache.h>

#include <hostproperties/PropertyStore.h>
#include <telemetry/settingsmanager/RemoteConfigKeys.h>
#include <telemetry/settingsmanager/TelemetrySettingsManager.h>
#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace gatestest {

using Tamar::OS::Telemetry::kDefaultAllowedSdkEventsList;
using Tamar::OS::Telemetry::kQosOverrideKey;
using Tamar::OS::Telemetry::kTravelModeOverrideKey;
using Tamar::OS::Telemetry::LowLatencyOverrideMap;
using Tamar::OS::Telemetry::TelemetrySettingsManager;
using testsupport::FakeStorageCache;
using StringSet = std::unordered_set<std::string>;
namespace gk = Tamar::OS::Telemetry::TelemetryVelaconfigs;

inline constexpr char kNamespace[] = "halcyon_shared_os_services";

inline std::string prefixed(const char* suffix) {
    return std::string("persist.device_config.") + kNamespace + "." + suffix;
}

struct GateRow {
    const char* constant;
    std::string property;
    bool live;  // re-read from its property on every query
};

// The 23 gates with the system property each one must read.
inline const std::vector<GateRow>& gateRows() {
    const auto p = prefixed;
    const auto t = [](const char* suffix) {
        return prefixed((std::string("halcyon_mobile_telemetry_") + suffix).c_str());
    };
    static const std::vector<GateRow> rows = {
            {gk::EnableIntakeMonitor, t("intake_monitor"), false},
            {gk::EnableTelemetryEnforcePermission, t("enforce_permission"), false},
            {gk::EnableDtEventStats, p("halcyon_mobile_enable_dt_event_stats"), false},
            {gk::DisableTelemetryLegacySessions,
             p("halcyon_mobile_native_telemetry_legacy_sess_disable"), false},
            {gk::EnableTelemetryHistoryStore, t("enable_history_store"), false},
            {gk::EnableTelemetrySetDefaultRateLimit, t("set_default_rate_limit"), true},
            {gk::EnableStatsdVerification, t("enable_verification"), true},
            {gk::EnableDebuggingAtScale, p("sorrel_enable_debugging_at_scale"), false},
            {gk::EnableTelemetryNetworkManager, t("enable_network_manager"), false},
            {gk::EnableOnDemandStatsdReport,
             p("oscontrol_on_demand_telemetry_statsd_report_enable"), false},
            {gk::EnableOnDemandTelemetry, p("oscontrol_on_demand_telemetry_enable"), false},
            {gk::EnableTelemetrySessionCorrelation, p("oscontrol_enable_telemetry_session"), false},
            {gk::EnableTelemetryWorkflowSessions, p("bracken_telemetry_enable_workflow_sessions"),
             false},
            {gk::EnableTelemetryPurgeEvent, t("purge_event"), true},
            {gk::EnableEventHealthCounters, t("enable_event_hc"), true},
            {gk::EnableTPXHealthCounters, t("enable_tpx_hc"), true},
            {gk::EnableWrenLoggerHealthCounters, t("enable_wrenlogger_hc"), true},
            // The one gate whose property carries no namespace prefix.
            {gk::EnableHealthCountersArchivedFileUpload,
             "halcyon_mobile_telemetry_enable_hc_archived_upload", true},
            {gk::EnableNTGracefulShutdown, t("enable_graceful_shutdown"), false},
            {gk::TelemetryDisableOfflineUpload, t("disable_offline_upload"), true},
            {gk::TelemetryRedundantDonStateUpdate, t("session_donstate_redundant"), false},
            {gk::TelemetryLowLatencyAllowList, t("low_latency_allow_list"), true},
            {gk::TelemetryUploadMaxBackoff, t("max_exp_backoff"), false},
    };
    return rows;
}

inline void setAllGateProperties(const std::string& value) {
    for (const GateRow& row : gateRows()) hostproperties::setProperty(row.property, value);
}

// The manager with its device-config probe under test control: the service is reported
// running only while `deviceConfigRunning` is set.
class GateManager : public TelemetrySettingsManager {
public:
    explicit GateManager(std::shared_ptr<IStorageCache> cache)
        : TelemetrySettingsManager(nullptr, std::move(cache)) {}

    std::atomic<bool> deviceConfigRunning{false};

    bool isServiceRunning(const char* name) override {
        return std::strcmp(name, "device_config_proxy") == 0 && deviceConfigRunning.load();
    }
};

class GatesTest : public ::testing::Test {
protected:
    std::shared_ptr<FakeStorageCache> cache = std::make_shared<FakeStorageCache>();
    std::unique_ptr<GateManager> manager = std::make_unique<GateManager>(cache);
};

}  // namespace gatestest
