#pragma once

#include <halcyon/TelemetryExport.h>

#include <binder/IBinder.h>
#include <binder/IInterface.h>
#include <utils/Errors.h>
#include <com/halcyon/deviceconfig/aidl/IOnPropertiesChangeListener.h>

namespace com::halcyon::deviceconfig::aidl {

// Proxy that the service uses to send change notices to a remote listener (one-way).
class TELEMETRY_EXPORT BpOnPropertiesChangeListener
    : public ::android::BpInterface<IOnPropertiesChangeListener> {
public:
    explicit BpOnPropertiesChangeListener(const ::android::sp<::android::IBinder>& _aidl_impl);
    ~BpOnPropertiesChangeListener() override = default;
    ::android::binder::Status onPropertiesChanged(const std::vector<Property>& properties) override;
};

}  // namespace com::halcyon::deviceconfig::aidl
