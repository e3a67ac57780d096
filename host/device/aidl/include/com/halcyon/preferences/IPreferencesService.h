#pragma once

#include <binder/IBinder.h>
#include <binder/IInterface.h>
#include <binder/Status.h>
#include <com/halcyon/preferences/IPreferencesListener.h>
#include <com/halcyon/preferences/Setting.h>
#include <utils/String16.h>
#include <utils/StrongPointer.h>

#include <string>
#include <vector>

namespace com::halcyon::preferences {

// The name the settings service is registered under.
inline constexpr const char* kPreferencesServiceName = "PreferencesService";

class IPreferencesService : public ::android::IInterface {
public:
    static const ::android::String16 descriptor;
    static ::android::sp<IPreferencesService> asInterface(
            const ::android::sp<::android::IBinder>& obj);
    virtual const ::android::String16& getInterfaceDescriptor() const;
    IPreferencesService();
    virtual ~IPreferencesService();

    // The setting, or one of type kNone when the key is not set.
    virtual ::android::binder::Status get(const std::string& key, Setting* _aidl_return) = 0;
    // Stores durably; false for an empty key, an unknown type or a value that is not of its type.
    virtual ::android::binder::Status put(const Setting& setting, bool* _aidl_return) = 0;
    // False when the key was not set.
    virtual ::android::binder::Status remove(const std::string& key, bool* _aidl_return) = 0;
    virtual ::android::binder::Status list(std::vector<Setting>* _aidl_return) = 0;
    virtual ::android::binder::Status addListener(
            const std::string& key, const ::android::sp<IPreferencesListener>& listener) = 0;
    virtual ::android::binder::Status removeListener(
            const std::string& key, const ::android::sp<IPreferencesListener>& listener) = 0;
};

}  // namespace com::halcyon::preferences
