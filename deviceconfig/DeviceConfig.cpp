#include <deviceconfig/DeviceConfig.h>

#include <android/log.h>
#include <deviceconfig/JavaProcessGuard.h>

#include <vector>

namespace com::halcyon::deviceconfig {
namespace {

constexpr const char* kLogTag = "DeviceConfig";
constexpr const char* kServiceName = "device_config_proxy";

}  // namespace

DeviceConfig::DeviceConfig()
    : mClient(std::make_unique<Tamar::OS::BinderClient<aidl::IDeviceConfig>>(kServiceName)) {}

DeviceConfig::~DeviceConfig() {
    mClient.reset();  // joins the connect thread before the mutex goes
}

Properties DeviceConfig::getProperties(const std::string& ns,
                                       std::initializer_list<std::string> keys) {
    std::vector<aidl::Property> result;
    if (refuseInJavaProcess()) return Properties(result);
    const android::sp<aidl::IDeviceConfig> service = mClient->getService();
    if (service == nullptr) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "getProperties: Failed to connect to DeviceConfig service");
        return Properties(result);
    }
    const std::vector<std::string> keyList(keys);
    const android::binder::Status status = service->getProperties(ns, keyList, &result);
    if (!status.isOk()) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "getProperties failed: %s",
                            status.exceptionMessage().c_str());
    }
    return Properties(result);
}

void DeviceConfig::addOnPropertiesChangeListener(
        const std::string& ns, const std::shared_ptr<OnPropertiesChangeListener>& listener) {
    if (refuseInJavaProcess()) return;
    std::lock_guard<std::mutex> lock(mRegistryMutex);
    if (listener->hasDeviceConfigListenerInstanceLocked()) {
        const android::sp<aidl::IDeviceConfig> service = mClient->getService();
        if (service != nullptr) {
            const android::binder::Status status = service->addOnPropertiesChangeListener(
                    ns, listener->getOrCreateDeviceConfigListenerLocked());
            if (!status.isOk()) {
                __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                                    "addOnPropertiesChangeListener failed: %s",
                                    status.exceptionMessage().c_str());
            }
        }
        // Logged on every repeated registration, whatever its outcome.
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "addOnPropertiesChangeListener failed: system server not running");
        return;
    }
    const android::sp<aidl::IDeviceConfig> service = mClient->getService();
    if (service == nullptr) return;
    const android::binder::Status status = service->addOnPropertiesChangeListener(
            ns, listener->getOrCreateDeviceConfigListenerLocked());
    if (!status.isOk()) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "addOnPropertiesChangeListener failed: %s",
                            status.exceptionMessage().c_str());
    }
}

void DeviceConfig::removeOnPropertiesChangeListener(
        const std::shared_ptr<OnPropertiesChangeListener>& listener) {
    if (refuseInJavaProcess()) return;
    std::lock_guard<std::mutex> lock(mRegistryMutex);
    if (!listener->hasDeviceConfigListenerInstanceLocked()) return;
    const android::sp<aidl::IDeviceConfig> service = mClient->getService();
    if (service != nullptr) {
        const android::binder::Status status = service->removeOnPropertiesChangeListener(
                listener->getOrCreateDeviceConfigListenerLocked());
        if (!status.isOk()) {
            __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                                "removeOnPropertiesChangeListener failed: %s",
                                status.exceptionMessage().c_str());
        }
    }
    // Logged on every removal of a registered listener, mirroring repeated registration. The
    // binder-side object is kept so that a later registration sends the same binder.
    __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                        "removeOnPropertiesChangeListener failed: system server not running");
}

bool DeviceConfig::isDeviceConfigAvailable() {
    if (refuseInJavaProcess()) return false;
    return mClient->getService() != nullptr;
}

}  // namespace com::halcyon::deviceconfig
