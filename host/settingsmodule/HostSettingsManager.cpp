#include "HostSettingsManager.h"

#include "SettingText.h"

#include <string>

namespace settingsmodule_host {

namespace {

class StoredSettingValue final : public ISettingValue {
public:
    int32_t getType() const override { return type; }
    const char* getString() const override { return text.c_str(); }

    int32_t type = BASALT::Settings::v3::kSettingTypeString;
    std::string text;
};

}  // namespace

HostSettingsManager::HostSettingsManager(SettingsService& service) : service_(service) {}

HostSettingsManager::~HostSettingsManager() {
    service_.removeOwner(this);
}

bool HostSettingsManager::getBool(const char* key, bool defaultValue) {
    if (key == nullptr) return defaultValue;
    std::optional<SettingsService::Value> value = service_.value(key);
    if (!value) return defaultValue;
    return parseBoolSetting(value->text).value_or(defaultValue);
}

int32_t HostSettingsManager::getInt(const char* key, int32_t defaultValue) {
    if (key == nullptr) return defaultValue;
    std::optional<SettingsService::Value> value = service_.value(key);
    if (!value) return defaultValue;
    return parseIntSetting(value->text).value_or(defaultValue);
}

const ISettingValue* HostSettingsManager::get(const char* key, const char* /*defaultValue*/) {
    if (key == nullptr) return nullptr;
    std::optional<SettingsService::Value> value = service_.value(key);
    if (!value) return nullptr;
    thread_local StoredSettingValue slot;
    slot.type = value->type;
    slot.text = std::move(value->text);
    return &slot;
}

bool HostSettingsManager::setString(const char* key, const char* value) {
    if (key == nullptr || value == nullptr) return false;
    return service_.set(key, value);
}

bool HostSettingsManager::addListener(const char* key, ISettingsListener* listener) {
    if (key == nullptr || listener == nullptr) return false;
    return service_.addListener(this, key, listener);
}

bool HostSettingsManager::removeListener(const char* key, ISettingsListener* listener) {
    if (key == nullptr || listener == nullptr) return false;
    return service_.removeListener(this, key, listener);
}

}  // namespace settingsmodule_host
