#pragma once

#include <halcyon/TelemetryExport.h>

#include <binder/IBinder.h>
#include <binder/IInterface.h>
#include <binder/Status.h>
#include <com/halcyon/deviceconfig/aidl/IOnPropertiesChangeListener.h>
#include <com/halcyon/deviceconfig/aidl/Property.h>
#include <utils/String16.h>
#include <utils/StrongPointer.h>

#include <memory>
#include <string>
#include <vector>

namespace com::halcyon::deviceconfig::aidl {

// Binder interface of the "device_config_proxy" service: read properties, watch namespaces.
class TELEMETRY_EXPORT IDeviceConfig : public ::android::IInterface {
public:
    static const ::android::String16 descriptor;
    static ::android::sp<IDeviceConfig> asInterface(const ::android::sp<::android::IBinder>& obj);
    virtual const ::android::String16& getInterfaceDescriptor() const;
    IDeviceConfig();
    ~IDeviceConfig() override;
    // Serves a transaction that the remote object does not know; empty by default.
    static bool setDefaultImpl(std::unique_ptr<IDeviceConfig> impl);
    static const std::unique_ptr<IDeviceConfig>& getDefaultImpl();

    virtual ::android::binder::Status getProperties(const std::string& ns,
                                                    const std::vector<std::string>& keys,
                                                    std::vector<Property>* _aidl_return) = 0;
    virtual ::android::binder::Status addOnPropertiesChangeListener(
            const std::string& ns, const ::android::sp<IOnPropertiesChangeListener>& listener) = 0;
    virtual ::android::binder::Status removeOnPropertiesChangeListener(
            const ::android::sp<IOnPropertiesChangeListener>& listener) = 0;

private:
    static std::unique_ptr<IDeviceConfig> default_impl;
};

// Answers every call with UNKNOWN_TRANSACTION; a base for partial implementations.
class TELEMETRY_EXPORT IDeviceConfigDefault : public IDeviceConfig {
public:
    ::android::IBinder* onAsBinder() override { return nullptr; }
    ::android::binder::Status getProperties(const std::string& /*ns*/,
                                            const std::vector<std::string>& /*keys*/,
                                            std::vector<Property>* /*_aidl_return*/) override {
        return ::android::binder::Status::fromStatusT(::android::UNKNOWN_TRANSACTION);
    }
    ::android::binder::Status addOnPropertiesChangeListener(
            const std::string& /*ns*/,
            const ::android::sp<IOnPropertiesChangeListener>& /*listener*/) override {
        return ::android::binder::Status::fromStatusT(::android::UNKNOWN_TRANSACTION);
    }
    ::android::binder::Status removeOnPropertiesChangeListener(
            const ::android::sp<IOnPropertiesChangeListener>& /*listener*/) override {
        return ::android::binder::Status::fromStatusT(::android::UNKNOWN_TRANSACTION);
    }
};

}  // namespace com::halcyon::deviceconfig::aidl
