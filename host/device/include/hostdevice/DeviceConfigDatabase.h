#pragma once

// The device-config namespaces of the state directory, in a SQLite file.

#include <hostdevice/StateDatabase.h>

#include <deviceconfig_host/HostDeviceConfigService.h>

#include <memory>
#include <string>

namespace hostdevice {

using com::halcyon::deviceconfig::host::DeviceConfigPersistence;
using com::halcyon::deviceconfig::host::DeviceConfigValues;
using com::halcyon::deviceconfig::host::HostDeviceConfigService;

class DeviceConfigDatabase final : public DeviceConfigPersistence {
public:
    // Opens (or creates) the file; null when it cannot be used.
    static std::unique_ptr<DeviceConfigDatabase> open(const std::string& path);

    DeviceConfigValues load();
    bool store(const std::string& ns, const std::string& key, const std::string& value) override;
    bool erase(const std::string& ns, const std::string& key) override;

private:
    explicit DeviceConfigDatabase(std::unique_ptr<StateDatabase> database);
    std::unique_ptr<StateDatabase> database_;
};

// A device-config service that starts from the file and writes every change to it; null when
// the file cannot be used.
android::sp<HostDeviceConfigService> openDurableDeviceConfigService(const std::string& path);

}  // namespace hostdevice
