#pragma once

#include <binder/IInterface.h>
#include <com/halcyon/preferences/IPreferencesService.h>

namespace com::halcyon::preferences {

class BpPreferencesService : public ::android::BpInterface<IPreferencesService> {
public:
    explicit BpPreferencesService(const ::android::sp<::android::IBinder>& _aidl_impl);
    ::android::binder::Status get(const std::string& key, Setting* _aidl_return) override;
    ::android::binder::Status put(const Setting& setting, bool* _aidl_return) override;
    ::android::binder::Status remove(const std::string& key, bool* _aidl_return) override;
    ::android::binder::Status list(std::vector<Setting>* _aidl_return) override;
    ::android::binder::Status addListener(
            const std::string& key, const ::android::sp<IPreferencesListener>& listener) override;
    ::android::binder::Status removeListener(
            const std::string& key, const ::android::sp<IPreferencesListener>& listener) override;
};

}  // namespace com::halcyon::preferences
