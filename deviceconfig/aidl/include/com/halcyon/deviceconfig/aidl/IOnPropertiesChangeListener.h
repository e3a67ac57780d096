#pragma once

#include <halcyon/TelemetryExport.h>

#include <binder/IBinder.h>
#include <binder/IInterface.h>
#include <binder/Status.h>
#include <com/halcyon/deviceconfig/aidl/Property.h>
#include <utils/String16.h>
#include <utils/StrongPointer.h>

#include <memory>
#include <vector>

namespace com::halcyon::deviceconfig::aidl {

// Binder interface through which the service reports changed properties of a namespace.
class TELEMETRY_EXPORT IOnPropertiesChangeListener : public ::android::IInterface {
public:
    static const ::android::String16 descriptor;
    static ::android::sp<IOnPropertiesChangeListener> asInterface(
            const ::android::sp<::android::IBinder>& obj);
    virtual const ::android::String16& getInterfaceDescriptor() const;
    IOnPropertiesChangeListener();
    ~IOnPropertiesChangeListener() override;
    // Serves a transaction that the remote object does not know; empty by default.
    static bool setDefaultImpl(std::unique_ptr<IOnPropertiesChangeListener> impl);
    static const std::unique_ptr<IOnPropertiesChangeListener>& getDefaultImpl();

    virtual ::android::binder::Status onPropertiesChanged(
            const std::vector<Property>& properties) = 0;

private:
    static std::unique_ptr<IOnPropertiesChangeListener> default_impl;
};

// Answers every call with UNKNOWN_TRANSACTION; a base for partial implementations.
class TELEMETRY_EXPORT IOnPropertiesChangeListenerDefault : public IOnPropertiesChangeListener {
public:
    ::android::IBinder* onAsBinder() override { return nullptr; }
    ::android::binder::Status onPropertiesChanged(
            const std::vector<Property>& /*properties*/) override {
        return ::android::binder::Status::fromStatusT(::android::UNKNOWN_TRANSACTION);
    }
};

}  // namespace com::halcyon::deviceconfig::aidl
