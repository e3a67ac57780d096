#include <telemetry/settingsmanager/TelemetryVelaconfigs.h>

namespace Tamar {
namespace OS {
namespace Telemetry {
namespace TelemetryVelaconfigs {

const char EnableIntakeMonitor[] = "halcyon_mobile_telemetry_intake_monitor";
const char EnableTelemetryEnforcePermission[] = "halcyon_mobile_telemetry_enforce_permission";
const char EnableDtEventStats[] = "halcyon_mobile_enable_dt_event_stats";
const char DisableTelemetryLegacySessions[] = "halcyon_mobile_native_telemetry_legacy_sess_disable";
const char EnableTelemetryHistoryStore[] = "halcyon_mobile_telemetry_enable_history_store";
const char EnableTelemetrySetDefaultRateLimit[] = "halcyon_mobile_telemetry_set_default_rate_limit";
const char EnableStatsdVerification[] = "halcyon_mobile_telemetry_enable_verification";
const char EnableDebuggingAtScale[] = "sorrel_enable_debugging_at_scale";
const char EnableTelemetryNetworkManager[] = "halcyon_mobile_telemetry_enable_network_manager";
const char EnableOnDemandStatsdReport[] = "oscontrol_on_demand_telemetry_statsd_report_enable";
const char EnableOnDemandTelemetry[] = "oscontrol_on_demand_telemetry_enable";
const char EnableTelemetrySessionCorrelation[] = "oscontrol_enable_telemetry_session";
const char EnableTelemetryWorkflowSessions[] = "bracken_telemetry_enable_workflow_sessions";
const char EnableTelemetryPurgeEvent[] = "halcyon_mobile_telemetry_purge_event";
const char EnableEventHealthCounters[] = "halcyon_mobile_telemetry_enable_event_hc";
const char EnableTPXHealthCounters[] = "halcyon_mobile_telemetry_enable_tpx_hc";
const char EnableWrenLoggerHealthCounters[] = "halcyon_mobile_telemetry_enable_wrenlogger_hc";
const char EnableHealthCountersArchivedFileUpload[] =
        "halcyon_mobile_telemetry_enable_hc_archived_upload";
const char EnableNTGracefulShutdown[] = "halcyon_mobile_telemetry_enable_graceful_shutdown";
const char TelemetryDisableOfflineUpload[] = "halcyon_mobile_telemetry_disable_offline_upload";
const char TelemetryRedundantDonStateUpdate[] =
        "halcyon_mobile_telemetry_session_donstate_redundant";
const char TelemetryLowLatencyAllowList[] = "halcyon_mobile_telemetry_low_latency_allow_list";
const char TelemetryUploadMaxBackoff[] = "halcyon_mobile_telemetry_max_exp_backoff";

const char TelemetryAllowedSDKEventsList[] =
        "halcyon_mobile_native_telemetry_allowed_sdk_events_list";
const char StatsdEventVerificationList[] =
        "halcyon_mobile_telemetry_statsd_event_verification_list";
const char RateLimiterConfig[] = "halcyon_mobile_telemetry_rate_limit";

}  // namespace TelemetryVelaconfigs
}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
