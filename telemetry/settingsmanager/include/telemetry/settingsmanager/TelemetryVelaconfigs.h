#pragma once

#include <halcyon/TelemetryExport.h>

// Names of the feature gates and remote configuration keys. Gates are looked up by the
// address of these arrays, so callers must pass the constants themselves, not copies.

namespace Tamar {
namespace OS {
namespace Telemetry {
namespace TelemetryVelaconfigs {

extern TELEMETRY_EXPORT const char EnableIntakeMonitor[];
extern TELEMETRY_EXPORT const char EnableTelemetryEnforcePermission[];
extern TELEMETRY_EXPORT const char EnableDtEventStats[];
extern TELEMETRY_EXPORT const char DisableTelemetryLegacySessions[];
extern TELEMETRY_EXPORT const char EnableTelemetryHistoryStore[];
extern TELEMETRY_EXPORT const char EnableTelemetrySetDefaultRateLimit[];
extern TELEMETRY_EXPORT const char EnableStatsdVerification[];
extern TELEMETRY_EXPORT const char EnableDebuggingAtScale[];
extern TELEMETRY_EXPORT const char EnableTelemetryNetworkManager[];
extern TELEMETRY_EXPORT const char EnableOnDemandStatsdReport[];
extern TELEMETRY_EXPORT const char EnableOnDemandTelemetry[];
extern TELEMETRY_EXPORT const char EnableTelemetrySessionCorrelation[];
extern TELEMETRY_EXPORT const char EnableTelemetryWorkflowSessions[];
extern TELEMETRY_EXPORT const char EnableTelemetryPurgeEvent[];
extern TELEMETRY_EXPORT const char EnableEventHealthCounters[];
extern TELEMETRY_EXPORT const char EnableTPXHealthCounters[];
extern TELEMETRY_EXPORT const char EnableWrenLoggerHealthCounters[];
extern TELEMETRY_EXPORT const char EnableHealthCountersArchivedFileUpload[];
extern TELEMETRY_EXPORT const char EnableNTGracefulShutdown[];
extern TELEMETRY_EXPORT const char TelemetryDisableOfflineUpload[];
extern TELEMETRY_EXPORT const char TelemetryRedundantDonStateUpdate[];
extern TELEMETRY_EXPORT const char TelemetryLowLatencyAllowList[];
extern TELEMETRY_EXPORT const char TelemetryUploadMaxBackoff[];

extern TELEMETRY_EXPORT const char TelemetryAllowedSDKEventsList[];
extern TELEMETRY_EXPORT const char StatsdEventVerificationList[];
extern TELEMETRY_EXPORT const char RateLimiterConfig[];

}  // namespace TelemetryVelaconfigs
}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
