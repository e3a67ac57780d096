#pragma once

#include <settingsmodule/ISettingsManager.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace testsupport {

// An in-memory settings service: typed values, a log of every call the code under test makes,
// the listeners it registered, and a way to deliver change notifications to them.
// Thread-safe, so that change callbacks can be fired while readers run.
class FakeSettingsService : public BASALT::Settings::v3::ISettingsManager {
public:
    using Listener = BASALT::Settings::v3::ISettingsListener;
    using Value = std::variant<std::string, bool, int32_t>;

    // Test set-up; not logged. An absent value removes the key.
    void put(const std::string& key, const std::optional<Value>& value) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (value) {
            values_[key] = *value;
        } else {
            values_.erase(key);
        }
    }
    void putString(const std::string& key, const std::string& value) { put(key, value); }
    void putInt(const std::string& key, int32_t value) { put(key, value); }
    void refuseSetString(bool refuse) {
        std::lock_guard<std::mutex> lock(mutex_);
        refuseSetString_ = refuse;
    }
    // Every call as "<operation> <key>", in order.
    std::vector<std::string> calls() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return calls_;
    }
    // The keys of the calls whose operation is `operation`, in order.
    std::vector<std::string> keysOf(const std::string& operation) const {
        std::vector<std::string> keys;
        for (const auto& call : calls()) {
            if (call.rfind(operation + " ", 0) == 0)
                keys.push_back(call.substr(operation.size() + 1));
        }
        return keys;
    }
    void clearCalls() {
        std::lock_guard<std::mutex> lock(mutex_);
        calls_.clear();
    }
    // Registered listeners, as (key, listener) in registration order.
    std::vector<std::pair<std::string, Listener*>> listeners() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return listeners_;
    }

    // Stores (or removes) a value, then calls onSettingChange(key) on the listeners of `key`.
    void change(const std::string& key, const std::optional<Value>& value) {
        put(key, value);
        for (auto& [k, listener] : listeners()) {
            if (k == key) listener->onSettingChange(key.c_str());
        }
    }

    // ISettingsManager
    bool getBool(const char* key, bool defaultValue) override {
        return typed("getBool", key, defaultValue);
    }
    int32_t getInt(const char* key, int32_t defaultValue) override {
        return typed("getInt", key, defaultValue);
    }
    const BASALT::Settings::v3::ISettingValue* get(const char* key, const char*) override {
        using namespace BASALT::Settings::v3;
        static constexpr int32_t kTypes[] = {kSettingTypeString, kSettingTypeBool, kSettingTypeInt};
        std::lock_guard<std::mutex> lock(mutex_);
        log("get", key);
        auto it = values_.find(key);
        if (it == values_.end()) return nullptr;
        // Valid until the next get() on this thread, as the real service promises.
        thread_local SettingValue returned;
        returned.type = kTypes[it->second.index()];
        returned.text = std::visit([](const auto& v) { return text(v); }, it->second);
        return &returned;
    }
    bool setString(const char* key, const char* value) override {
        std::lock_guard<std::mutex> lock(mutex_);
        log("setString", key);
        if (refuseSetString_) return false;
        values_[key] = std::string(value);
        return true;
    }
    bool addListener(const char* key, Listener* listener) override {
        std::lock_guard<std::mutex> lock(mutex_);
        log("addListener", key);
        listeners_.emplace_back(key, listener);
        return true;
    }
    bool removeListener(const char* key, Listener* listener) override {
        std::lock_guard<std::mutex> lock(mutex_);
        log("removeListener", key);
        auto it = std::find(listeners_.begin(), listeners_.end(),
                            std::pair<std::string, Listener*>(key, listener));
        if (it == listeners_.end()) return false;
        listeners_.erase(it);
        return true;
    }

private:
    struct SettingValue : BASALT::Settings::v3::ISettingValue {
        int32_t type = BASALT::Settings::v3::kSettingTypeNone;
        std::string text;
        int32_t getType() const override { return type; }
        const char* getString() const override { return text.c_str(); }
    };
    static std::string text(const std::string& value) { return value; }
    static std::string text(bool value) { return value ? "true" : "false"; }
    static std::string text(int32_t value) { return std::to_string(value); }

    // The value of `key` if it holds a T, else `defaultValue`.
    template <typename T>
    T typed(const char* operation, const char* key, T defaultValue) {
        std::lock_guard<std::mutex> lock(mutex_);
        log(operation, key);
        auto it = values_.find(key);
        const T* value = it == values_.end() ? nullptr : std::get_if<T>(&it->second);
        return value ? *value : defaultValue;
    }
    void log(const char* operation, const char* key) {
        calls_.push_back(std::string(operation) + " " + key);
    }

    mutable std::mutex mutex_;
    std::map<std::string, Value> values_;
    std::vector<std::string> calls_;
    std::vector<std::pair<std::string, Listener*>> listeners_;
    bool refuseSetString_ = false;
};

}  // namespace testsupport
