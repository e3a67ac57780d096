#pragma once

#include <halcyon/TelemetryExport.h>

#include <binder/IBinder.h>
#include <binder/IInterface.h>
#include <utils/Errors.h>
#include <com/halcyon/deviceconfig/aidl/IDeviceConfig.h>

namespace com::halcyon::deviceconfig::aidl {

// Client proxy of IDeviceConfig: parcels each call and reports transport failures as a Status.
class TELEMETRY_EXPORT BpDeviceConfig : public ::android::BpInterface<IDeviceConfig> {
public:
    explicit BpDeviceConfig(const ::android::sp<::android::IBinder>& _aidl_impl);
    ~BpDeviceConfig() override = default;
    ::android::binder::Status getProperties(const std::string& ns,
                                            const std::vector<std::string>& keys,
                                            std::vector<Property>* _aidl_return) override;
    ::android::binder::Status addOnPropertiesChangeListener(
            const std::string& ns,
            const ::android::sp<IOnPropertiesChangeListener>& listener) override;
    ::android::binder::Status removeOnPropertiesChangeListener(
            const ::android::sp<IOnPropertiesChangeListener>& listener) override;
};

}  // namespace com::halcyon::deviceconfig::aidl
