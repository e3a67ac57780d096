#pragma once

#include <halcyon/TelemetryExport.h>

#include <binder/Status.h>
#include <com/halcyon/deviceconfig/aidl/BnOnPropertiesChangeListener.h>
#include <deviceconfig/Properties.h>
#include <utils/StrongPointer.h>

#include <memory>
#include <vector>

namespace com::halcyon::deviceconfig {

// Base of the users' change listeners. A listener must be owned by a std::shared_ptr. Once
// registered, it and its binder-side object keep each other alive for the rest of the process,
// because the service may call the binder-side object at any time.
class TELEMETRY_EXPORT OnPropertiesChangeListener
    : public std::enable_shared_from_this<OnPropertiesChangeListener> {
public:
    // Runs on a binder thread of this process; calls to one listener never overlap.
    virtual void onPropertiesChanged(const Properties& properties) = 0;
    virtual ~OnPropertiesChangeListener() = default;

    // The object the service calls; forwards every change to its listener.
    class OnDeviceConfigChangeListener : public aidl::BnOnPropertiesChangeListener {
    public:
        explicit OnDeviceConfigChangeListener(std::shared_ptr<OnPropertiesChangeListener> listener);
        ::android::binder::Status onPropertiesChanged(
                const std::vector<aidl::Property>& properties) override;

    private:
        std::shared_ptr<OnPropertiesChangeListener> mListener;
    };

    // Both need the DeviceConfig registry mutex held by the caller.
    android::sp<OnDeviceConfigChangeListener> getOrCreateDeviceConfigListenerLocked();
    bool hasDeviceConfigListenerInstanceLocked() const;

private:
    android::sp<OnDeviceConfigChangeListener> mDeviceConfigListener;
};

}  // namespace com::halcyon::deviceconfig
