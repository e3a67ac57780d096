#pragma once

// Host-only control of the host settings module: lets tests and host tools change settings
// the way the platform would, and wait until the resulting change notifications were
// delivered. The functions live in the module; the helper below reaches them in the module
// that is already loaded, so nothing has to link the module.

#include <dlfcn.h>

#include <chrono>
#include <cstdint>
#include <optional>

extern "C" {
// Stores the value and queues a change notification for the key.
bool basaltHostSetSetting(const char* key, const char* value);
// Removes the key (if present) and queues a change notification for it. True if it existed.
bool basaltHostRemoveSetting(const char* key);
// Waits until every notification queued before the call was delivered; false on time-out or
// when called from a change listener (which runs on the notifier thread).
bool basaltHostWaitForNotifications(int64_t timeoutMillis);
// Settings objects created and not yet destroyed.
int64_t basaltHostLiveSettingsManagers();
}

namespace settingsmodule_host {

inline constexpr const char* kSettingsModuleFileName = "libbasalt.halcyon.so";

class HostSettingsControl {
public:
    // The control functions of the loaded module; empty when the module is not loaded.
    static std::optional<HostSettingsControl> find() {
        void* module = dlopen(kSettingsModuleFileName, RTLD_LAZY | RTLD_NOLOAD);
        if (module == nullptr) return std::nullopt;
        HostSettingsControl control;
        control.set_ =
                reinterpret_cast<decltype(control.set_)>(dlsym(module, "basaltHostSetSetting"));
        control.remove_ = reinterpret_cast<decltype(control.remove_)>(
                dlsym(module, "basaltHostRemoveSetting"));
        control.wait_ = reinterpret_cast<decltype(control.wait_)>(
                dlsym(module, "basaltHostWaitForNotifications"));
        control.live_ = reinterpret_cast<decltype(control.live_)>(
                dlsym(module, "basaltHostLiveSettingsManagers"));
        // Drops only the reference taken above; whoever loaded the module keeps it loaded.
        dlclose(module);
        if (!control.set_ || !control.remove_ || !control.wait_ || !control.live_)
            return std::nullopt;
        return control;
    }

    bool set(const char* key, const char* value) const { return set_(key, value); }
    bool remove(const char* key) const { return remove_(key); }
    bool waitForNotifications(std::chrono::milliseconds timeout = std::chrono::seconds(10)) const {
        return wait_(static_cast<int64_t>(timeout.count()));
    }
    int64_t liveSettingsManagers() const { return live_(); }

private:
    HostSettingsControl() = default;

    decltype(&basaltHostSetSetting) set_ = nullptr;
    decltype(&basaltHostRemoveSetting) remove_ = nullptr;
    decltype(&basaltHostWaitForNotifications) wait_ = nullptr;
    decltype(&basaltHostLiveSettingsManagers) live_ = nullptr;
};

}  // namespace settingsmodule_host
