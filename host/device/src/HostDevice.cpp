#include <hostdevice/DeviceConfigDatabase.h>
#include <hostdevice/HostDevice.h>

#include <binder/IServiceManager.h>
#include <binder/ProcessState.h>
#include <binder_host/HostBinder.h>
#include <com/halcyon/preferences/IPreferencesService.h>
#include <utils/String16.h>

namespace hostdevice {

std::unique_ptr<HostDevice> HostDevice::start(const std::string& dir, std::string* error) {
    std::unique_ptr<HostDevice> device(new HostDevice());
    // The service manager of the device, before anything in this process uses binder.
    if (android::status_t status = android::hostbinder::startHostDeviceBinder(dir.c_str());
        status != android::OK) {
        *error = "cannot serve the service manager in " + dir + " (error " +
                 std::to_string(status) + ")";
        return nullptr;
    }
    device->properties_ = hostproperties::PropertyService::start(dir, dir, error);
    if (device->properties_ == nullptr) return nullptr;

    device->preferences_ = PreferencesService::open(dir + "/" + kSettingsFileName);
    if (device->preferences_ == nullptr) {
        *error = "cannot open the settings file in " + dir;
        return nullptr;
    }
    device->deviceConfig_ = openDurableDeviceConfigService(dir + "/" + kDeviceConfigFileName);
    if (device->deviceConfig_ == nullptr) {
        *error = "cannot open the device-config file in " + dir;
        return nullptr;
    }

    android::ProcessState::self()->startThreadPool();
    const android::sp<android::IServiceManager> manager = android::defaultServiceManager();
    if (manager == nullptr ||
        manager->addService(android::String16(com::halcyon::preferences::kPreferencesServiceName),
                            device->preferences_) != android::OK ||
        com::halcyon::deviceconfig::host::publishHostDeviceConfigService(device->deviceConfig_) !=
                android::OK) {
        *error = "cannot register the services with the service manager";
        return nullptr;
    }
    return device;
}

HostDevice::~HostDevice() {
    if (properties_ != nullptr) properties_->stop();
}

}  // namespace hostdevice
