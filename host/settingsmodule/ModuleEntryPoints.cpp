// The exported surface of the host settings module: the two entry points the system's loader
// looks up, and the host-only control functions of HostSettingsControl.h.

#include "HostSettingsManager.h"
#include "SettingsService.h"

#include <settingsmodule_host/HostSettingsControl.h>

#include <android/log.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <new>

#define BASALT_HOST_EXPORT __attribute__((visibility("default")))

namespace {

constexpr const char* kLogTag = "BasaltHostSettings";
constexpr int64_t kSupportedVersion = 3;

std::atomic<int64_t> liveManagers{0};

}  // namespace

using settingsmodule_host::HostSettingsManager;
using settingsmodule_host::ISettingsManager;
using settingsmodule_host::SettingsService;

extern "C" BASALT_HOST_EXPORT void* createSettingsManager(int64_t version) {
    if (version != kSupportedVersion) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag,
                            "unsupported settings interface version %lld",
                            static_cast<long long>(version));
        return nullptr;
    }
    auto* manager = new (std::nothrow) HostSettingsManager(SettingsService::instance());
    if (manager == nullptr) return nullptr;
    liveManagers.fetch_add(1);
    // The loader reads the object back as an ISettingsManager*.
    return static_cast<ISettingsManager*>(manager);
}

extern "C" BASALT_HOST_EXPORT void destroySettingsManager(int64_t /*version*/,
                                                          void* object) noexcept {
    if (object == nullptr) return;
    delete static_cast<ISettingsManager*>(object);
    liveManagers.fetch_sub(1);
}

extern "C" BASALT_HOST_EXPORT bool basaltHostSetSetting(const char* key, const char* value) {
    if (key == nullptr || value == nullptr) return false;
    return SettingsService::instance().set(key, value);
}

extern "C" BASALT_HOST_EXPORT bool basaltHostRemoveSetting(const char* key) {
    if (key == nullptr) return false;
    return SettingsService::instance().remove(key);
}

extern "C" BASALT_HOST_EXPORT bool basaltHostWaitForNotifications(int64_t timeoutMillis) {
    return SettingsService::instance().waitForNotifications(
            std::chrono::milliseconds(timeoutMillis));
}

extern "C" BASALT_HOST_EXPORT int64_t basaltHostLiveSettingsManagers() {
    return liveManagers.load();
}
