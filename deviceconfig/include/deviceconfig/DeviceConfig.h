#pragma once

#include <halcyon/TelemetryExport.h>

#include <com/halcyon/deviceconfig/aidl/IDeviceConfig.h>
#include <deviceconfig/BinderClient.h>
#include <deviceconfig/OnPropertiesChangeListener.h>
#include <deviceconfig/Properties.h>

#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>

namespace com::halcyon::deviceconfig {

// Native client of the "device_config_proxy" service. Construction connects once,
// synchronously; if the service is absent a background retry keeps trying until destruction.
// Refuses every request in a Java process (see JNI_OnLoad).
class TELEMETRY_EXPORT DeviceConfig {
public:
    DeviceConfig();
    virtual ~DeviceConfig();
    DeviceConfig(const DeviceConfig&) = delete;
    DeviceConfig& operator=(const DeviceConfig&) = delete;

    // The current values of the given keys of a namespace; empty when the service is absent.
    Properties getProperties(const std::string& ns, std::initializer_list<std::string> keys);
    // `listener` must not be null. Registrations live only in the service and are not renewed
    // after it restarts.
    void addOnPropertiesChangeListener(const std::string& ns,
                                       const std::shared_ptr<OnPropertiesChangeListener>& listener);
    // Withdraws the listener from every namespace it was added for.
    void removeOnPropertiesChangeListener(
            const std::shared_ptr<OnPropertiesChangeListener>& listener);
    bool isDeviceConfigAvailable();

private:
    std::mutex mRegistryMutex;
    std::unique_ptr<Tamar::OS::BinderClient<aidl::IDeviceConfig>> mClient;
};

}  // namespace com::halcyon::deviceconfig
