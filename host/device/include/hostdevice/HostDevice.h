#pragma once

// The services of one host device, running in this process for a state directory.

#include <hostdevice/PreferencesService.h>

#include <deviceconfig_host/HostDeviceConfigService.h>
#include <hostproperties/PropertyService.h>

#include <memory>
#include <string>

namespace hostdevice {

// File names inside the state directory.
inline constexpr const char* kPidFileName = "hostdevice.pid";
inline constexpr const char* kSettingsFileName = "settings.db";
inline constexpr const char* kDeviceConfigFileName = "device_config.db";

class HostDevice {
public:
    // Opens the state in `dir` (which must exist) and publishes every service; null with a
    // one-line *error when something cannot be started.
    static std::unique_ptr<HostDevice> start(const std::string& dir, std::string* error);
    ~HostDevice();

private:
    HostDevice() = default;

    std::unique_ptr<hostproperties::PropertyService> properties_;
    android::sp<PreferencesService> preferences_;
    android::sp<com::halcyon::deviceconfig::host::HostDeviceConfigService> deviceConfig_;
};

}  // namespace hostdevice
