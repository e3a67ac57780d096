#include "ChangeSources.h"

#include <settingsmodule/SettingsManagerLoader.h>
#include <telemetry/settingsmanager/SettingsKeys.h>

#include <sys/system_properties.h>

#include <ctime>

namespace telemetrydump {

namespace keys = Tamar::OS::Telemetry;

const char* const SettingsSource::kKeys[8] = {
        keys::kKeyTelemetryState,
        keys::kKeyDeviceEntId,
        keys::kKeyKestrelDeviceId,
        keys::kKeyManagedDevice,
        keys::kKeyLocalAccountModeEnabled,
        keys::kKeyAccountCheckpointed,
        keys::kKeyCurrentUser,
        keys::kKeyNuxComplete,
};

SettingsSource::SettingsSource(ChangeQueue& queue)
    : queue_(queue), settings_(BASALT::Settings::v3::createSettingsManagerPtr()) {}

bool SettingsSource::start() {
    if (settings_ == nullptr) return false;
    for (const char* key : kKeys) {
        if (!settings_->addListener(key, this)) return false;
    }
    return true;
}

void SettingsSource::stop() {
    if (settings_ == nullptr) return;
    for (const char* key : kKeys) settings_->removeListener(key, this);
}

std::optional<std::string> SettingsSource::value(const char* key) {
    const BASALT::Settings::v3::ISettingValue* value = settings_->get(key, "");
    if (value == nullptr || value->getString() == nullptr) return std::nullopt;
    return std::string(value->getString());
}

void SettingsSource::onSettingChange(const char* key) {
    queue_.push({Change::Source::kSetting, key, value(key)});
}

void DeviceConfigSource::onPropertiesChanged(
        const com::halcyon::deviceconfig::Properties& properties) {
    for (const std::string& key : properties.getKeys()) {
        queue_.push({Change::Source::kDeviceConfig, key, properties.getString(key, "")});
    }
}

namespace {

std::map<std::string, std::string> readProperties() {
    std::map<std::string, std::string> values;
    __system_property_foreach(
            [](const prop_info* info, void* cookie) {
                __system_property_read_callback(
                        info,
                        [](void* into, const char* name, const char* value, uint32_t) {
                            (*static_cast<std::map<std::string, std::string>*>(into))[name] = value;
                        },
                        cookie);
            },
            &values);
    return values;
}

}  // namespace

void PropertyFollower::start() {
    // The serial is taken first: a write during the read below still wakes the first wait.
    serial_ = __system_property_area_serial();
    known_ = readProperties();
    thread_ = std::thread([this] { follow(); });
}

void PropertyFollower::stop() {
    stopping_.store(true);
    if (thread_.joinable()) thread_.join();
}

void PropertyFollower::follow() {
    // The area offers no way to interrupt a wait, so stop() is noticed within one bound.
    const timespec bound{0, 200'000'000};
    while (!stopping_.load()) {
        uint32_t next = serial_;
        if (!__system_property_wait(nullptr, serial_, &next, &bound)) continue;
        serial_ = next;
        std::map<std::string, std::string> now = readProperties();
        for (const auto& [name, value] : now) {
            const auto before = known_.find(name);
            if (before != known_.end() && before->second == value) continue;
            Change change{Change::Source::kProperty, name, value};
            if (before != known_.end()) change.previous = before->second;
            queue_.push(std::move(change));
        }
        known_ = std::move(now);
    }
}

}  // namespace telemetrydump
