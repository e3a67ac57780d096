#pragma once

#include <halcyon/TelemetryExport.h>

#include <binder/IInterface.h>
#include <com/halcyon/deviceconfig/aidl/IDeviceConfig.h>

namespace com::halcyon::deviceconfig::aidl {

// Service side of IDeviceConfig: unparcels each transaction and calls the implementation.
class TELEMETRY_EXPORT BnDeviceConfig : public ::android::BnInterface<IDeviceConfig> {
public:
    static constexpr uint32_t TRANSACTION_getProperties =
            ::android::IBinder::FIRST_CALL_TRANSACTION + 0;
    static constexpr uint32_t TRANSACTION_addOnPropertiesChangeListener =
            ::android::IBinder::FIRST_CALL_TRANSACTION + 1;
    static constexpr uint32_t TRANSACTION_removeOnPropertiesChangeListener =
            ::android::IBinder::FIRST_CALL_TRANSACTION + 2;
    explicit BnDeviceConfig();
    ::android::status_t onTransact(uint32_t _aidl_code, const ::android::Parcel& _aidl_data,
                                   ::android::Parcel* _aidl_reply, uint32_t _aidl_flags) override;
};

}  // namespace com::halcyon::deviceconfig::aidl
