#include "SettingsService.h"

#include "SettingText.h"

#include <android/log.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

namespace settingsmodule_host {

namespace {
constexpr const char* kLogTag = "BasaltHostSettings";
constexpr const char* kSettingsFileVariable = "BASALT_SETTINGS_FILE";
constexpr const char* kHostDeviceVariable = "HALCYON_HOST_DEVICE";

bool isSet(const char* value) {
    return value != nullptr && *value != '\0';
}
}  // namespace

SettingsService& SettingsService::instance() {
    // Deliberately leaked: the notifier thread and late callers must never meet a destroyed
    // service during process exit.
    static SettingsService* service = new SettingsService();
    return *service;
}

SettingsService::SettingsService() {
    if (isSet(std::getenv(kHostDeviceVariable))) {
        remote_ = std::make_unique<RemoteSettings>(
                [this](const std::string& key) { enqueueNotification(key.c_str()); });
    } else if (const char* path = std::getenv(kSettingsFileVariable); isSet(path)) {
        seedFromFile(path);
    }
    std::lock_guard<std::mutex> lock(listenersMutex_);
    notifier_ = std::thread([this] { deliverNotifications(); });
    notifierId_ = notifier_.get_id();
}

void SettingsService::seedFromFile(const char* path) {
    std::ifstream file(path);
    if (!file) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "cannot read settings file '%s'", path);
        return;
    }
    std::lock_guard<std::mutex> lock(valuesMutex_);
    std::string line;
    for (size_t number = 1; std::getline(file, line); ++number) {
        SettingsLine parsed = parseSettingsLine(line);
        if (parsed.kind == SettingsLineKind::kMalformed) {
            __android_log_print(ANDROID_LOG_WARN, kLogTag,
                                "%s:%zu: malformed settings line skipped", path, number);
        } else if (parsed.kind == SettingsLineKind::kEntry) {
            values_.insert_or_assign(std::string(parsed.key), std::string(parsed.value));
        }
    }
}

std::optional<SettingsService::Value> SettingsService::value(const char* key) const {
    if (remote_ != nullptr) {
        std::optional<Setting> setting = remote_->get(key);
        if (!setting) return std::nullopt;
        return Value{setting->type, std::move(setting->value)};
    }
    std::lock_guard<std::mutex> lock(valuesMutex_);
    auto found = values_.find(key);
    if (found == values_.end()) return std::nullopt;
    return Value{BASALT::Settings::v3::kSettingTypeString, found->second};
}

bool SettingsService::set(const char* key, const char* value) {
    if (remote_ != nullptr) return remote_->put(key, Setting::kString, value);
    {
        std::lock_guard<std::mutex> lock(valuesMutex_);
        values_.insert_or_assign(key, value);
    }
    enqueueNotification(key);
    return true;
}

bool SettingsService::remove(const char* key) {
    if (remote_ != nullptr) return remote_->remove(key);
    bool existed = false;
    {
        std::lock_guard<std::mutex> lock(valuesMutex_);
        auto found = values_.find(key);
        if (found != values_.end()) {
            values_.erase(found);
            existed = true;
        }
    }
    enqueueNotification(key);
    return existed;
}

void SettingsService::enqueueNotification(const char* key) {
    {
        std::lock_guard<std::mutex> lock(listenersMutex_);
        pending_.emplace_back(key);
        ++queuedCount_;
    }
    notificationQueued_.notify_one();
}

bool SettingsService::addListener(const void* owner, const char* key, ISettingsListener* listener) {
    {
        std::lock_guard<std::mutex> lock(listenersMutex_);
        auto& forKey = registrations_[key];
        Registration registration{owner, listener};
        if (std::find(forKey.begin(), forKey.end(), registration) == forKey.end())
            forKey.push_back(registration);
    }
    // Outside the lock: a binder call to the host device.
    if (remote_ != nullptr) remote_->watch(key);
    return true;
}

bool SettingsService::removeListener(const void* owner, const char* key,
                                     ISettingsListener* listener) {
    std::unique_lock<std::mutex> lock(listenersMutex_);
    auto found = registrations_.find(key);
    if (found == registrations_.end()) return false;
    auto& forKey = found->second;
    auto removed = std::remove(forKey.begin(), forKey.end(), Registration{owner, listener});
    if (removed == forKey.end()) return false;
    forKey.erase(removed, forKey.end());
    if (forKey.empty()) registrations_.erase(found);
    waitUntilNotDeliveringLocked(lock, listener);
    return true;
}

void SettingsService::removeOwner(const void* owner) {
    std::unique_lock<std::mutex> lock(listenersMutex_);
    std::vector<ISettingsListener*> removedListeners;
    for (auto entry = registrations_.begin(); entry != registrations_.end();) {
        auto& forKey = entry->second;
        for (const Registration& registration : forKey) {
            if (registration.owner == owner) removedListeners.push_back(registration.listener);
        }
        std::erase_if(forKey, [owner](const Registration& r) { return r.owner == owner; });
        entry = forKey.empty() ? registrations_.erase(entry) : std::next(entry);
    }
    for (ISettingsListener* listener : removedListeners)
        waitUntilNotDeliveringLocked(lock, listener);
}

void SettingsService::waitUntilNotDeliveringLocked(std::unique_lock<std::mutex>& lock,
                                                   ISettingsListener* listener) {
    if (std::this_thread::get_id() == notifierId_) return;
    notificationDelivered_.wait(lock, [&] { return delivering_ != listener; });
}

bool SettingsService::isRegisteredLocked(const std::string& key, ISettingsListener* listener) const {
    auto found = registrations_.find(key);
    if (found == registrations_.end()) return false;
    return std::any_of(found->second.begin(), found->second.end(),
                       [listener](const Registration& r) { return r.listener == listener; });
}

bool SettingsService::waitForNotifications(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(listenersMutex_);
    uint64_t target = queuedCount_;
    if (std::this_thread::get_id() == notifierId_) return deliveredCount_ >= target;
    return notificationDelivered_.wait_for(lock, timeout, [&] { return deliveredCount_ >= target; });
}

void SettingsService::deliverNotifications() {
    std::unique_lock<std::mutex> lock(listenersMutex_);
    for (;;) {
        notificationQueued_.wait(lock, [this] { return !pending_.empty(); });
        std::string key = std::move(pending_.front());
        pending_.pop_front();

        std::vector<ISettingsListener*> targets;
        if (auto found = registrations_.find(key); found != registrations_.end()) {
            for (const Registration& registration : found->second) {
                if (std::find(targets.begin(), targets.end(), registration.listener) ==
                    targets.end()) {
                    targets.push_back(registration.listener);
                }
            }
        }
        for (ISettingsListener* listener : targets) {
            // A listener removed while an earlier one was being called must not be called.
            if (!isRegisteredLocked(key, listener)) continue;
            delivering_ = listener;
            lock.unlock();
            listener->onSettingChange(key.c_str());
            lock.lock();
            delivering_ = nullptr;
            notificationDelivered_.notify_all();
        }
        ++deliveredCount_;
        notificationDelivered_.notify_all();
    }
}

}  // namespace settingsmodule_host
