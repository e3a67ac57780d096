#pragma once

// Names of the feature gates and remote configuration keys. Gates are looked up by the
// address of these arrays, so callers must pass the constants themselves, not copies.

namespace Tamar {
namespace OS {
namespace Telemetry {
namespace TelemetryVelaconfigs {

extern const char EnableIntakeMonitor[];
extern const char EnableTelemetryEnforcePermission[];
extern const char EnableDtEventStats[];
extern const char DisableTelemetryLegacySessions[];
extern const char EnableTelemetryHistoryStore[];
extern const char EnableTelemetrySetDefaultRateLimit[];
extern const char EnableStatsdVerification[];
extern const char EnableDebuggingAtScale[];
extern const char EnableTelemetryNetworkManager[];
extern const char EnableOnDemandStatsdReport[];
extern const char EnableOnDemandTelemetry[];
extern const char EnableTelemetrySessionCorrelation[];
extern const char EnableTelemetryWorkflowSessions[];
extern const char EnableTelemetryPurgeEvent[];
extern const char EnableEventHealthCounters[];
extern const char EnableTPXHealthCounters[];
extern const char EnableWrenLoggerHealthCounters[];
extern const char EnableHealthCountersArchivedFileUpload[];
extern const char EnableNTGracefulShutdown[];
extern const char TelemetryDisableOfflineUpload[];
extern const char TelemetryRedundantDonStateUpdate[];
extern const char TelemetryLowLatencyAllowList[];
extern const char TelemetryUploadMaxBackoff[];

extern const char TelemetryAllowedSDKEventsList[];
extern const char StatsdEventVerificationList[];
extern const char RateLimiterConfig[];

}  // namespace TelemetryVelaconfigs
}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
