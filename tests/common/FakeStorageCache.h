#pragma once

#include <keyvalue/KeyValueStore.h>

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace testsupport {

// An in-memory IStorageCache that records every call and can be told to refuse writes.
// The test-side accessors address the settings manager's own store. Thread-safe.
class FakeStorageCache : public IStorageCache {
public:
    struct Call {
        std::string operation;  // "get" or "set"
        std::string key;
        std::string value;  // set only
    };

    // Test set-up; not recorded.
    void put(const std::string& key, const std::string& value) {
        std::lock_guard<std::mutex> lock(mutex_);
        values_[managerKey(key)] = value;
    }
    std::optional<std::string> stored(const std::string& key) const {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = values_.find(managerKey(key));
        return it == values_.end() ? std::nullopt : std::optional<std::string>(it->second);
    }
    void refuseWrites(bool refuse) {
        std::lock_guard<std::mutex> lock(mutex_);
        refuseWrites_ = refuse;
    }
    std::vector<Call> calls() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return calls_;
    }
    size_t countCalls(const std::string& operation) const {
        size_t n = 0;
        for (const auto& c : calls()) n += c.operation == operation ? 1 : 0;
        return n;
    }
    void clearCalls() {
        std::lock_guard<std::mutex> lock(mutex_);
        calls_.clear();
    }

    // IStorageCache
    std::optional<std::string> get(Store store, const std::string& name,
                                   const std::string& key) override {
        std::lock_guard<std::mutex> lock(mutex_);
        calls_.push_back({"get", key, {}});
        auto it = values_.find({store, name, key});
        return it == values_.end() ? std::nullopt : std::optional<std::string>(it->second);
    }
    bool set(Store store, const std::string& name, const std::string& key,
             const std::string& value) override {
        std::lock_guard<std::mutex> lock(mutex_);
        calls_.push_back({"set", key, value});
        if (refuseWrites_) return false;
        values_[{store, name, key}] = value;
        return true;
    }

private:
    using Key = std::tuple<Store, std::string, std::string>;
    static Key managerKey(const std::string& key) {
        return {Store::Shared, "telemetry_service_settings", key};
    }

    mutable std::mutex mutex_;
    std::map<Key, std::string> values_;
    std::vector<Call> calls_;
    bool refuseWrites_ = false;
};

}  // namespace testsupport
