#pragma once

// Interfaces of the device's settings module. On a device these declarations ship with the
// module; the system only loads the module at run time (see SettingsManagerLoader.h).

#include <cstdint>

namespace BASALT {
namespace Settings {
namespace v3 {

// Value types reported by ISettingValue::getType().
enum SettingValueType : int32_t {
    kSettingTypeNone = 0,
    kSettingTypeString = 1,
    kSettingTypeBool = 2,
    kSettingTypeInt = 3,
};

class ISettingValue {
public:
    virtual ~ISettingValue() = default;
    virtual int32_t getType() const = 0;
    // NUL-terminated text of the value; valid until the next call on the same thread.
    virtual const char* getString() const = 0;
};

class ISettingsListener {
public:
    virtual void onSettingChange(const char* key) = 0;
    virtual ~ISettingsListener() = default;
};

class ISettingsManager {
public:
    virtual ~ISettingsManager() = default;
    virtual bool getBool(const char* key, bool defaultValue) = 0;
    virtual int32_t getInt(const char* key, int32_t defaultValue) = 0;
    // The value of the key, or null. The caller neither frees nor keeps the pointer beyond
    // the call.
    virtual const ISettingValue* get(const char* key, const char* defaultValue) = 0;
    virtual bool setString(const char* key, const char* value) = 0;
    virtual bool addListener(const char* key, ISettingsListener* listener) = 0;
    virtual bool removeListener(const char* key, ISettingsListener* listener) = 0;
};

}  // namespace v3
}  // namespace Settings
}  // namespace BASALT
