#pragma once

#include <binder/IBinder.h>
#include <binder/IInterface.h>
#include <binder/Status.h>
#include <utils/String16.h>
#include <utils/StrongPointer.h>

#include <string>

namespace com::halcyon::preferences {

class IPreferencesListener : public ::android::IInterface {
public:
    static const ::android::String16 descriptor;
    static ::android::sp<IPreferencesListener> asInterface(
            const ::android::sp<::android::IBinder>& obj);
    virtual const ::android::String16& getInterfaceDescriptor() const;
    IPreferencesListener();
    virtual ~IPreferencesListener();

    // One-way: the key of a setting that was written or removed.
    virtual ::android::binder::Status onSettingChange(const std::string& key) = 0;
};

}  // namespace com::halcyon::preferences
