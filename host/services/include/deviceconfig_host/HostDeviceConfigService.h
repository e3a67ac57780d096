#pragma once

// Host-only: an in-process device-config service for tests and host tools. Device code never
// includes this header.

#include <com/halcyon/deviceconfig/aidl/BnDeviceConfig.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <cstddef>
#include <istream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace com::halcyon::deviceconfig::host {

inline constexpr const char* kDeviceConfigServiceName = "device_config_proxy";

using DeviceConfigValues = std::map<std::string, std::map<std::string, std::string>>;

// Where a durable service keeps its values. Each write must be committed when it returns true.
class DeviceConfigPersistence {
public:
    virtual ~DeviceConfigPersistence() = default;
    virtual bool store(const std::string& ns, const std::string& key, const std::string& value) = 0;
    virtual bool erase(const std::string& ns, const std::string& key) = 0;
};

// Host-only write transactions served beside IDeviceConfig, under their own interface token,
// for host tools: set (namespace, key, value) and delete (namespace, key). Both reply with an
// int32 status_t and then, when that is OK, an int32 1 when something changed, else 0.
inline constexpr const char16_t* kDeviceConfigWriterDescriptor =
        u"com.halcyon.deviceconfig.host.IDeviceConfigWriter";
inline constexpr uint32_t kTransactionWriterSet = ::android::IBinder::FIRST_CALL_TRANSACTION + 64;
inline constexpr uint32_t kTransactionWriterDelete = ::android::IBinder::FIRST_CALL_TRANSACTION + 65;

// Serves namespace -> key -> value maps. Every change is sent one-way to the listeners
// registered for the changed namespace.
class HostDeviceConfigService : public aidl::BnDeviceConfig {
public:
    HostDeviceConfigService() = default;
    // Starts from `values`; every later change is written to `persistence` before it is applied.
    HostDeviceConfigService(DeviceConfigValues values,
                            std::unique_ptr<DeviceConfigPersistence> persistence);

    // The writer transactions above, then IDeviceConfig's.
    ::android::status_t onTransact(uint32_t code, const ::android::Parcel& data,
                                   ::android::Parcel* reply, uint32_t flags) override;

    // IDeviceConfig. An empty key list answers every property of the namespace; keys that are
    // not set are left out of the answer.
    ::android::binder::Status getProperties(const std::string& ns,
                                            const std::vector<std::string>& keys,
                                            std::vector<aidl::Property>* result) override;
    ::android::binder::Status addOnPropertiesChangeListener(
            const std::string& ns,
            const ::android::sp<aidl::IOnPropertiesChangeListener>& listener) override;
    // Withdraws the listener from every namespace.
    ::android::binder::Status removeOnPropertiesChangeListener(
            const ::android::sp<aidl::IOnPropertiesChangeListener>& listener) override;

    // Sets the value and notifies the namespace's listeners with that one property. False when
    // it could not be made durable (nothing changes then).
    bool setProperty(const std::string& ns, const std::string& key, const std::string& value);
    // Removes the key and notifies the namespace's listeners with the key and an empty value.
    // False when the key was not set or could not be removed durably (nobody is notified).
    bool removeProperty(const std::string& ns, const std::string& key);
    std::optional<std::string> getProperty(const std::string& ns, const std::string& key) const;
    size_t listenerCount(const std::string& ns) const;

    // Seeds from `namespace/key=value` lines; blank lines and lines starting with '#' are
    // skipped, malformed lines are logged with their source and line number and skipped.
    // Answers the number of properties set.
    size_t loadFromStream(std::istream& in, const std::string& sourceName);
    // nullopt when the file cannot be opened.
    std::optional<size_t> loadFromFile(const std::string& path);

private:
    void notify(const std::string& ns, const std::vector<aidl::Property>& changed);

    // Guards mValues and mListeners, and orders durable writes with them. Never held during a
    // listener call.
    mutable std::mutex mMutex;
    DeviceConfigValues mValues;
    std::unique_ptr<DeviceConfigPersistence> mPersistence;
    std::map<std::string, std::vector<::android::sp<aidl::IOnPropertiesChangeListener>>> mListeners;
};

// Client side of the writer transactions: OK and whether something changed, or the error.
::android::status_t writeDeviceConfigProperty(const ::android::sp<::android::IBinder>& service,
                                              const std::string& ns, const std::string& key,
                                              const std::string& value, bool* changed);
::android::status_t deleteDeviceConfigProperty(const ::android::sp<::android::IBinder>& service,
                                               const std::string& ns, const std::string& key,
                                               bool* changed);

// Registers the service with the service manager under kDeviceConfigServiceName.
::android::status_t publishHostDeviceConfigService(
        const ::android::sp<HostDeviceConfigService>& service);

// Kills whatever is registered under kDeviceConfigServiceName, as if its process had ended:
// the name is removed and death recipients are notified. NAME_NOT_FOUND if nothing is there.
::android::status_t killHostDeviceConfigService();

}  // namespace com::halcyon::deviceconfig::host
