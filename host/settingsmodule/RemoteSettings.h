#pragma once

// The module's connection to the host device's "PreferencesService", used instead of the
// in-process values when HALCYON_HOST_DEVICE names a host device. It keeps the keys it was
// asked to watch registered with the service, across restarts of the service, and reports
// their changes through a callback.

#include <com/halcyon/preferences/BnPreferencesListener.h>
#include <com/halcyon/preferences/IPreferencesService.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>

namespace settingsmodule_host {

using com::halcyon::preferences::Setting;

class RemoteSettings {
public:
    // `onChange` runs on a binder thread for a changed key, and for every watched key once the
    // service is reached again after it went away (its values may have changed meanwhile).
    explicit RemoteSettings(std::function<void(const std::string&)> onChange);
    ~RemoteSettings();

    // The setting, or nullopt when it is not set or the service cannot be reached.
    std::optional<Setting> get(const std::string& key);
    bool put(const std::string& key, int32_t type, const std::string& value);
    bool remove(const std::string& key);
    // Asks the service for change calls of the key; kept for the life of this object.
    void watch(const std::string& key);

private:
    class Listener;
    class DeathWatch;

    android::sp<com::halcyon::preferences::IPreferencesService> service();
    void connectLocked();
    void onServiceDied();
    void reconnectLoop();

    const std::function<void(const std::string&)> onChange_;
    android::sp<Listener> listener_;
    android::sp<DeathWatch> deathWatch_;

    // Guards everything below.
    std::mutex mutex_;
    std::condition_variable wake_;
    android::sp<com::halcyon::preferences::IPreferencesService> service_;
    std::set<std::string> watched_;
    bool stopping_ = false;
    bool reconnecting_ = false;
    std::thread reconnector_;
};

}  // namespace settingsmodule_host
