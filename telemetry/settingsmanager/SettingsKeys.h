#pragma once

// Keys and fixed texts shared by the settings manager's sources.

namespace Tamar {
namespace OS {
namespace Telemetry {

inline constexpr char kLogTag[] = "telemetry";

// System service whose registration means the settings service is up.
inline constexpr char kPreferencesServiceName[] = "PreferencesService";

// Settings service keys.
inline constexpr char kKeyTelemetryState[] = "telemetry_state";
inline constexpr char kKeyDeviceEntId[] = "device_ent_id";
inline constexpr char kKeyKestrelDeviceId[] = "kestrel_device_id";
inline constexpr char kKeyManagedDevice[] = "managed_device";
inline constexpr char kKeyLocalAccountModeEnabled[] = "local_account_mode_enabled_v1";
inline constexpr char kKeyAccountCheckpointed[] = "vela_account_checkpointed";
inline constexpr char kKeyCurrentUser[] = "current_user";
inline constexpr char kKeyNuxComplete[] = "first_time_nux_complete";

inline constexpr char kTelemetryStateOn[] = "on";
inline constexpr char kTelemetryStateOff[] = "OFF";

// The keys that synchronisation listens to, in registration (and removal) order.
inline constexpr const char* kListenedKeys[] = {
        kKeyTelemetryState,      kKeyManagedDevice, kKeyLocalAccountModeEnabled,
        kKeyAccountCheckpointed, kKeyCurrentUser,   kKeyNuxComplete,
};

// Key-value store and its keys.
inline constexpr char kTelemetryServiceSetting[] = "telemetry_service_settings";
inline constexpr char kTelemetryKestrelDeviceId[] = "telemetry_kestrel_device_id";
inline constexpr char kKeyLogLevel[] = "loglevel";
inline constexpr char kKeyLogcatLevel[] = "logcatlevel";
inline constexpr char kValueLogcatVerbose[] = "verbose";
inline constexpr char kTelemetryClockAdjusted[] = "clockadjusted";
inline constexpr char kTelemetryAdjustedCacheTime[] = "adjustedcachetime";
inline constexpr char kTelemetryTimeDistance[] = "timedistance";

inline constexpr int kHistoryStoreCleanupTimeoutSec = 1800;

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
