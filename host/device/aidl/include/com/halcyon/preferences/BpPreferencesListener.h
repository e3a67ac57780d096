#pragma once

#include <binder/IInterface.h>
#include <com/halcyon/preferences/IPreferencesListener.h>

namespace com::halcyon::preferences {

class BpPreferencesListener : public ::android::BpInterface<IPreferencesListener> {
public:
    explicit BpPreferencesListener(const ::android::sp<::android::IBinder>& _aidl_impl);
    ::android::binder::Status onSettingChange(const std::string& key) override;
};

}  // namespace com::halcyon::preferences
