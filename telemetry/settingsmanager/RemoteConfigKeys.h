#pragma once

// Names and built-in defaults of the remote configuration strings, shared by the feature
// gate, remote configuration and low-latency sources of the settings manager. Internal to
// the library; tests include it to check defaults.

#include <array>
#include <cstddef>
#include <string_view>

namespace Tamar {
namespace OS {
namespace Telemetry {

inline constexpr char kDeviceConfigServiceName[] = "device_config_proxy";
inline constexpr char kDeviceConfigNamespace[] = "halcyon_shared_os_services";

inline constexpr char kQosOverrideKey[] = "halcyon_mobile_telemetry_qos_override";
inline constexpr char kTravelModeOverrideKey[] =
        "halcyon_mobile_telemetry_travelmode_lowlatency_override";

// Event names separated by ";".
extern const char kDefaultAllowedSdkEventsList[];
// "name,true" items separated by ";".
extern const char kDefaultTravelModeOverrides[];

struct RemoteStringKey {
    const char* key;
    const char* defaultValue;
};

// The five remote configuration strings, in the order in which they are first loaded.
extern const std::array<RemoteStringKey, 5> kRemoteStringKeys;

// Number of low-latency override texts actually parsed in this process (parse-cache
// misses); lets tests tell a cached answer from a fresh parse.
size_t lowLatencyParseCount();

// Forgets the process-wide parse cache and travel-mode snapshot, so that a test starts from a
// fresh process's state.
void resetLowLatencyStateForTesting();

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
