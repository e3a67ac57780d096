#pragma once

#include <binder/IInterface.h>
#include <com/halcyon/preferences/IPreferencesListener.h>

namespace com::halcyon::preferences {

class BnPreferencesListener : public ::android::BnInterface<IPreferencesListener> {
public:
    static constexpr uint32_t TRANSACTION_onSettingChange =
            ::android::IBinder::FIRST_CALL_TRANSACTION + 0;
    explicit BnPreferencesListener();
    ::android::status_t onTransact(uint32_t _aidl_code, const ::android::Parcel& _aidl_data,
                                   ::android::Parcel* _aidl_reply, uint32_t _aidl_flags) override;
};

}  // namespace com::halcyon::preferences
