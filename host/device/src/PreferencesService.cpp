#include <hostdevice/PreferencesService.h>

#include <SettingText.h>

#include <android/log.h>

#include <algorithm>
#include <cstdlib>

namespace hostdevice {
namespace {

using android::sp;
using android::binder::Status;

constexpr const char* kLogTag = "HostDevice";
constexpr const char* kSchema =
        "CREATE TABLE IF NOT EXISTS settings("
        "key TEXT PRIMARY KEY NOT NULL, type INTEGER NOT NULL, value TEXT NOT NULL);";

bool sameBinder(const sp<IPreferencesListener>& a, const sp<IPreferencesListener>& b) {
    return android::IInterface::asBinder(a) == android::IInterface::asBinder(b);
}

}  // namespace

bool isStorableSetting(const Setting& setting) {
    if (setting.key.empty()) return false;
    switch (setting.type) {
        case Setting::kString:
            return true;
        case Setting::kBool:
            return settingsmodule_host::parseBoolSetting(setting.value).has_value();
        case Setting::kInt:
            return settingsmodule_host::parseIntSetting(setting.value).has_value();
        default:
            return false;
    }
}

sp<PreferencesService> PreferencesService::open(const std::string& path) {
    std::unique_ptr<StateDatabase> database = StateDatabase::open(path, kSchema);
    if (database == nullptr) return nullptr;
    return sp<PreferencesService>(new PreferencesService(std::move(database)));
}

PreferencesService::PreferencesService(std::unique_ptr<StateDatabase> database)
    : database_(std::move(database)) {
    database_->query(
            "SELECT key, type, value FROM settings", {}, [this](const StateDatabase::Row& row) {
                Setting setting;
                setting.key = row[0];
                setting.type = std::atoi(row[1].c_str());
                setting.value = row[2];
                // A row edited by hand into something unusable is left out, not served.
                if (!isStorableSetting(setting)) {
                    __android_log_print(ANDROID_LOG_WARN, kLogTag,
                                        "unusable stored setting '%s' skipped", setting.key.c_str());
                    return;
                }
                values_[setting.key] = setting;
            });
}

Status PreferencesService::get(const std::string& key, Setting* result) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = values_.find(key);
    *result = found != values_.end() ? found->second : Setting{};
    if (found == values_.end()) result->key = key;
    return Status::ok();
}

Status PreferencesService::put(const Setting& setting, bool* stored) {
    *stored = false;
    if (!isStorableSetting(setting)) return Status::ok();
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (database_->exec("INSERT OR REPLACE INTO settings(key, type, value) VALUES(?, ?, ?)",
                            {setting.key, std::to_string(setting.type), setting.value}) < 0) {
            return Status::fromServiceSpecificError(1, "settings file not writable");
        }
        values_[setting.key] = setting;
    }
    *stored = true;
    notify(setting.key);
    return Status::ok();
}

Status PreferencesService::remove(const std::string& key, bool* existed) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        const int changed = database_->exec("DELETE FROM settings WHERE key = ?", {key});
        if (changed < 0) return Status::fromServiceSpecificError(1, "settings file not writable");
        *existed = values_.erase(key) > 0;
    }
    if (*existed) notify(key);
    return Status::ok();
}

Status PreferencesService::list(std::vector<Setting>* result) {
    std::lock_guard<std::mutex> lock(mutex_);
    result->clear();
    for (const auto& [key, setting] : values_) result->push_back(setting);
    return Status::ok();
}

Status PreferencesService::addListener(const std::string& key,
                                       const sp<IPreferencesListener>& listener) {
    if (listener == nullptr) return Status::fromExceptionCode(Status::EX_NULL_POINTER);
    std::lock_guard<std::mutex> lock(mutex_);
    auto& forKey = listeners_[key];
    if (std::none_of(forKey.begin(), forKey.end(),
                     [&](const auto& other) { return sameBinder(other, listener); })) {
        forKey.push_back(listener);
    }
    return Status::ok();
}

Status PreferencesService::removeListener(const std::string& key,
                                          const sp<IPreferencesListener>& listener) {
    if (listener == nullptr) return Status::fromExceptionCode(Status::EX_NULL_POINTER);
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = listeners_.find(key);
    if (found == listeners_.end()) return Status::ok();
    std::erase_if(found->second, [&](const auto& other) { return sameBinder(other, listener); });
    if (found->second.empty()) listeners_.erase(found);
    return Status::ok();
}

void PreferencesService::notify(const std::string& key) {
    std::vector<sp<IPreferencesListener>> targets;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto found = listeners_.find(key);
        if (found == listeners_.end()) return;
        targets = found->second;
    }
    // One-way calls, made without the lock; a listener whose process is gone is dropped.
    std::vector<sp<IPreferencesListener>> dead;
    for (const auto& listener : targets) {
        if (listener->onSettingChange(key).transactionError() == android::DEAD_OBJECT)
            dead.push_back(listener);
    }
    if (dead.empty()) return;
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& [name, registered] : listeners_) {
        std::erase_if(registered, [&](const auto& listener) {
            return std::any_of(dead.begin(), dead.end(),
                               [&](const auto& d) { return sameBinder(d, listener); });
        });
    }
}

}  // namespace hostdevice
