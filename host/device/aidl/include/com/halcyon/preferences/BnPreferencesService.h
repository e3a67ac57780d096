#pragma once

#include <binder/IInterface.h>
#include <com/halcyon/preferences/IPreferencesService.h>

namespace com::halcyon::preferences {

class BnPreferencesService : public ::android::BnInterface<IPreferencesService> {
public:
    static constexpr uint32_t TRANSACTION_get = ::android::IBinder::FIRST_CALL_TRANSACTION + 0;
    static constexpr uint32_t TRANSACTION_put = ::android::IBinder::FIRST_CALL_TRANSACTION + 1;
    static constexpr uint32_t TRANSACTION_remove = ::android::IBinder::FIRST_CALL_TRANSACTION + 2;
    static constexpr uint32_t TRANSACTION_list = ::android::IBinder::FIRST_CALL_TRANSACTION + 3;
    static constexpr uint32_t TRANSACTION_addListener =
            ::android::IBinder::FIRST_CALL_TRANSACTION + 4;
    static constexpr uint32_t TRANSACTION_removeListener =
            ::android::IBinder::FIRST_CALL_TRANSACTION + 5;
    explicit BnPreferencesService();
    ::android::status_t onTransact(uint32_t _aidl_code, const ::android::Parcel& _aidl_data,
                                   ::android::Parcel* _aidl_reply, uint32_t _aidl_flags) override;
};

}  // namespace com::halcyon::preferences
