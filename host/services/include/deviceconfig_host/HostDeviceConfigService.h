#pragma once

// Host-only: an in-process device-config service for tests and host tools. Device code never
// includes this header.

#include <com/halcyon/deviceconfig/aidl/BnDeviceConfig.h>
#include <utils/Errors.h>
#include <utils/StrongPointer.h>

#include <cstddef>
#include <istream>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace com::halcyon::deviceconfig::host {

inline constexpr const char* kDeviceConfigServiceName = "device_config_proxy";

// Serves namespace -> key -> value maps. Every change is sent one-way to the listeners
// registered for the changed namespace.
class HostDeviceConfigService : public aidl::BnDeviceConfig {
public:
    HostDeviceConfigService() = default;

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

    // Sets the value and notifies the namespace's listeners with that one property.
    void setProperty(const std::string& ns, const std::string& key, const std::string& value);
    // Removes the key and notifies the namespace's listeners with the key and an empty value.
    // False when the key was not set (nobody is notified).
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

    mutable std::mutex mMutex;
    std::map<std::string, std::map<std::string, std::string>> mValues;
    std::map<std::string, std::vector<::android::sp<aidl::IOnPropertiesChangeListener>>> mListeners;
};

// Registers the service with the service manager under kDeviceConfigServiceName.
::android::status_t publishHostDeviceConfigService(
        const ::android::sp<HostDeviceConfigService>& service);

// Kills whatever is registered under kDeviceConfigServiceName, as if its process had ended:
// the name is removed and death recipients are notified. NAME_NOT_FOUND if nothing is there.
::android::status_t killHostDeviceConfigService();

}  // namespace com::halcyon::deviceconfig::host
