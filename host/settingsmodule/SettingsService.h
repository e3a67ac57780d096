#pragma once

// The settings service of the host module: one per process, shared by every settings object
// the module creates. It keeps the listener registrations and delivers change notifications on
// a notifier thread of its own, as the platform service does. The values are the host
// device's when HALCYON_HOST_DEVICE is set (changes made by any process are announced);
// otherwise they are strings held in this process.

#include "RemoteSettings.h"

#include <settingsmodule/ISettingsManager.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace settingsmodule_host {

using BASALT::Settings::v3::ISettingsListener;

class SettingsService {
public:
    // Created on first use and never destroyed, so settings objects and listeners may use it
    // until the process ends. Without a host device it is seeded from the file named by
    // BASALT_SETTINGS_FILE.
    static SettingsService& instance();

    struct Value {
        int32_t type;  // BASALT::Settings::v3::SettingValueType
        std::string text;
    };
    std::optional<Value> value(const char* key) const;
    // Both lead to a change notification for the key (from the host device, when there is
    // one, for keys that a listener watches). False when the host device refuses or is gone.
    bool set(const char* key, const char* value);
    bool remove(const char* key);

    // Registrations belong to an owner (a settings object) so that they go with it.
    bool addListener(const void* owner, const char* key, ISettingsListener* listener);
    // When this returns, the listener is not being called for any key and will not be called
    // for this one again (unless added again). Called from a listener, it cannot wait for that
    // listener's own call, which is the caller's call.
    bool removeListener(const void* owner, const char* key, ISettingsListener* listener);
    void removeOwner(const void* owner);

    bool waitForNotifications(std::chrono::milliseconds timeout);

private:
    struct Registration {
        const void* owner;
        ISettingsListener* listener;
        bool operator==(const Registration&) const = default;
    };

    SettingsService();
    void seedFromFile(const char* path);
    void enqueueNotification(const char* key);
    void deliverNotifications();
    bool isRegisteredLocked(const std::string& key, ISettingsListener* listener) const;
    void waitUntilNotDeliveringLocked(std::unique_lock<std::mutex>& lock,
                                      ISettingsListener* listener);

    // Set once in the constructor when a host device is named; then values_ is unused.
    std::unique_ptr<RemoteSettings> remote_;

    mutable std::mutex valuesMutex_;
    std::map<std::string, std::string, std::less<>> values_;

    // Guards everything below; never held together with valuesMutex_ nor during a callback.
    std::mutex listenersMutex_;
    std::condition_variable notificationQueued_;
    std::condition_variable notificationDelivered_;
    std::map<std::string, std::vector<Registration>, std::less<>> registrations_;
    std::deque<std::string> pending_;
    uint64_t queuedCount_ = 0;
    uint64_t deliveredCount_ = 0;
    ISettingsListener* delivering_ = nullptr;
    std::thread notifier_;
    std::thread::id notifierId_;
};

}  // namespace settingsmodule_host
