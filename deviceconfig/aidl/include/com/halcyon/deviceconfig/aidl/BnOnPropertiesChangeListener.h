#pragma once

#include <halcyon/TelemetryExport.h>

#include <binder/IInterface.h>
#include <com/halcyon/deviceconfig/aidl/IOnPropertiesChangeListener.h>

namespace com::halcyon::deviceconfig::aidl {

// Listener side of IOnPropertiesChangeListener: unparcels change notices for the implementation.
class TELEMETRY_EXPORT BnOnPropertiesChangeListener
    : public ::android::BnInterface<IOnPropertiesChangeListener> {
public:
    static constexpr uint32_t TRANSACTION_onPropertiesChanged =
            ::android::IBinder::FIRST_CALL_TRANSACTION + 0;
    explicit BnOnPropertiesChangeListener();
    ::android::status_t onTransact(uint32_t _aidl_code, const ::android::Parcel& _aidl_data,
                                   ::android::Parcel* _aidl_reply, uint32_t _aidl_flags) override;
};

}  // namespace com::halcyon::deviceconfig::aidl
