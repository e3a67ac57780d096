#pragma once

#include "DumpOptions.h"
#include "SettingsSnapshot.h"

#include <string>

namespace telemetrydump {

// On a host, stands up what a device provides before the settings manager is first used.
// With HALCYON_HOST_DEVICE set, this process joins that host device (which must answer) and
// seeds nothing. Otherwise it builds a private device: the key-value store directory, system
// properties, the settings module seeded from a file, an in-process device-config service and
// the "PreferencesService" registration; each file is read once. On success `lookup` answers
// what the device-config service holds. Returns kExitOk, or another exit code with a message
// naming the file and line at fault.
ExitCode prepareHostEnvironment(const DumpOptions& options, DeviceConfigLookup* lookup,
                                std::string* error);

}  // namespace telemetrydump
