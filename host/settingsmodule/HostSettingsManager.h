#pragma once

// A settings object handed out by the host module: a thin client of the process's
// SettingsService.

#include "SettingsService.h"

#include <settingsmodule/ISettingsManager.h>

namespace settingsmodule_host {

using BASALT::Settings::v3::ISettingsManager;
using BASALT::Settings::v3::ISettingValue;

class HostSettingsManager final : public ISettingsManager {
public:
    explicit HostSettingsManager(SettingsService& service);
    // Drops the listeners registered through this object, waiting for a call in flight.
    ~HostSettingsManager() override;

    bool getBool(const char* key, bool defaultValue) override;
    int32_t getInt(const char* key, int32_t defaultValue) override;
    // The value lives in a per-thread slot: valid until this thread's next get().
    const ISettingValue* get(const char* key, const char* defaultValue) override;
    bool setString(const char* key, const char* value) override;
    bool addListener(const char* key, ISettingsListener* listener) override;
    bool removeListener(const char* key, ISettingsListener* listener) override;

private:
    SettingsService& service_;
};

}  // namespace settingsmodule_host
