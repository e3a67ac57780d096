#include <deviceconfig_host/HostDeviceConfigService.h>

#include <binder/IInterface.h>
#include <binder/IServiceManager.h>
#include <binder_host/HostBinder.h>
#include <utils/String16.h>

#include <algorithm>

namespace com::halcyon::deviceconfig::host {
namespace {

using aidl::IOnPropertiesChangeListener;
using ::android::sp;
using ::android::binder::Status;

bool sameBinder(const sp<IOnPropertiesChangeListener>& a, const sp<IOnPropertiesChangeListener>& b) {
    return ::android::IInterface::asBinder(a) == ::android::IInterface::asBinder(b);
}

aidl::Property makeProperty(const std::string& key, const std::string& value) {
    aidl::Property property;
    property.key = key;
    property.value = value;
    return property;
}

}  // namespace

Status HostDeviceConfigService::getProperties(const std::string& ns,
                                              const std::vector<std::string>& keys,
                                              std::vector<aidl::Property>* result) {
    std::lock_guard<std::mutex> lock(mMutex);
    result->clear();
    const auto values = mValues.find(ns);
    if (values == mValues.end()) return Status::ok();
    if (keys.empty()) {
        for (const auto& [key, value] : values->second) result->push_back(makeProperty(key, value));
        return Status::ok();
    }
    for (const std::string& key : keys) {
        const auto it = values->second.find(key);
        if (it != values->second.end()) result->push_back(makeProperty(key, it->second));
    }
    return Status::ok();
}

Status HostDeviceConfigService::addOnPropertiesChangeListener(
        const std::string& ns, const sp<IOnPropertiesChangeListener>& listener) {
    if (listener == nullptr) return Status::fromExceptionCode(Status::EX_NULL_POINTER);
    std::lock_guard<std::mutex> lock(mMutex);
    auto& listeners = mListeners[ns];
    const bool known = std::any_of(listeners.begin(), listeners.end(),
                                   [&](const auto& other) { return sameBinder(other, listener); });
    if (!known) listeners.push_back(listener);
    return Status::ok();
}

Status HostDeviceConfigService::removeOnPropertiesChangeListener(
        const sp<IOnPropertiesChangeListener>& listener) {
    if (listener == nullptr) return Status::fromExceptionCode(Status::EX_NULL_POINTER);
    std::lock_guard<std::mutex> lock(mMutex);
    for (auto& [ns, listeners] : mListeners) {
        std::erase_if(listeners, [&](const auto& other) { return sameBinder(other, listener); });
    }
    return Status::ok();
}

HostDeviceConfigService::HostDeviceConfigService(DeviceConfigValues values,
                                                 std::unique_ptr<DeviceConfigPersistence> persistence)
    : mValues(std::move(values)), mPersistence(std::move(persistence)) {}

bool HostDeviceConfigService::setProperty(const std::string& ns, const std::string& key,
                                          const std::string& value) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mPersistence != nullptr && !mPersistence->store(ns, key, value)) return false;
        mValues[ns][key] = value;
    }
    notify(ns, {makeProperty(key, value)});
    return true;
}

bool HostDeviceConfigService::removeProperty(const std::string& ns, const std::string& key) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        const auto values = mValues.find(ns);
        if (values == mValues.end() || values->second.count(key) == 0) return false;
        if (mPersistence != nullptr && !mPersistence->erase(ns, key)) return false;
        values->second.erase(key);
    }
    notify(ns, {makeProperty(key, "")});
    return true;
}

std::optional<std::string> HostDeviceConfigService::getProperty(const std::string& ns,
                                                                const std::string& key) const {
    std::lock_guard<std::mutex> lock(mMutex);
    const auto values = mValues.find(ns);
    if (values == mValues.end()) return std::nullopt;
    const auto it = values->second.find(key);
    if (it == values->second.end()) return std::nullopt;
    return it->second;
}

size_t HostDeviceConfigService::listenerCount(const std::string& ns) const {
    std::lock_guard<std::mutex> lock(mMutex);
    const auto it = mListeners.find(ns);
    return it == mListeners.end() ? 0 : it->second.size();
}

void HostDeviceConfigService::notify(const std::string& ns,
                                     const std::vector<aidl::Property>& changed) {
    std::vector<sp<IOnPropertiesChangeListener>> listeners;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        const auto it = mListeners.find(ns);
        if (it == mListeners.end()) return;
        listeners = it->second;
    }
    // Called without the lock: a listener in this process may call back into the service.
    std::vector<sp<IOnPropertiesChangeListener>> dead;
    for (const auto& listener : listeners) {
        const Status status = listener->onPropertiesChanged(changed);
        if (status.transactionError() == ::android::DEAD_OBJECT) dead.push_back(listener);
    }
    if (dead.empty()) return;
    std::lock_guard<std::mutex> lock(mMutex);
    for (auto& [name, registered] : mListeners) {
        std::erase_if(registered, [&](const auto& listener) {
            return std::any_of(dead.begin(), dead.end(),
                               [&](const auto& d) { return sameBinder(d, listener); });
        });
    }
}

::android::status_t publishHostDeviceConfigService(const sp<HostDeviceConfigService>& service) {
    const sp<::android::IServiceManager> serviceManager = ::android::defaultServiceManager();
    if (serviceManager == nullptr) return ::android::NO_INIT;
    return serviceManager->addService(::android::String16(kDeviceConfigServiceName), service);
}

::android::status_t killHostDeviceConfigService() {
    return ::android::hostbinder::killService(::android::String16(kDeviceConfigServiceName));
}

}  // namespace com::halcyon::deviceconfig::host
