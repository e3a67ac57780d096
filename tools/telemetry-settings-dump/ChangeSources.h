#pragma once

// Where the watch hears of changes: each source pushes what it hears to a ChangeQueue from
// the thread it is called on.

#include "ChangeQueue.h"

#include <deviceconfig/OnPropertiesChangeListener.h>
#include <settingsmodule/ISettingsManager.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace telemetrydump {

// The settings the manager reads, heard through a settings object of the module. The module
// calls listeners in registration order, so the manager's own listener has run (and recorded
// its history entry) when this one is called.
class SettingsSource final : public BASALT::Settings::v3::ISettingsListener {
public:
    explicit SettingsSource(ChangeQueue& queue);
    // Registers for every key; false when the module hands out no settings object.
    bool start();
    // Withdraws every registration; no call is in flight afterwards.
    void stop();
    // The current text of a setting; empty when it is not set.
    std::optional<std::string> value(const char* key);
    void onSettingChange(const char* key) override;

    static const char* const kKeys[8];

private:
    ChangeQueue& queue_;
    std::shared_ptr<BASALT::Settings::v3::ISettingsManager> settings_;
};

// One device-config namespace; a removed value arrives as the empty string.
class DeviceConfigSource final : public com::halcyon::deviceconfig::OnPropertiesChangeListener {
public:
    explicit DeviceConfigSource(ChangeQueue& queue) : queue_(queue) {}
    void onPropertiesChanged(const com::halcyon::deviceconfig::Properties& properties) override;

private:
    ChangeQueue& queue_;
};

// Follows the serial of the whole property area on a thread of its own and reports every
// property whose value changed, with its previous value.
class PropertyFollower {
public:
    explicit PropertyFollower(ChangeQueue& queue) : queue_(queue) {}
    ~PropertyFollower() { stop(); }
    // Takes the current values as the baseline, then follows on a new thread.
    void start();
    void stop();

private:
    void follow();

    ChangeQueue& queue_;
    std::atomic<bool> stopping_{false};
    uint32_t serial_ = 0;                       // owned by the follower thread once started
    std::map<std::string, std::string> known_;  // likewise
    std::thread thread_;
};

}  // namespace telemetrydump
