#pragma once

// Key-value store library of the device (host build). Values are strings kept per
// (store, name, key); every process that opens the same store shares its data.

#include <chrono>
#include <memory>
#include <optional>
#include <string>

// Which family of stores a name belongs to.
enum class Store : int {
    Local = 0,
    User = 1,
    Shared = 2,  // shared by every native process of the device
};

// Where a cache reads from and writes to.
class IKeyValueStorageStrategy {
public:
    virtual ~IKeyValueStorageStrategy() = default;
    virtual std::optional<std::string> read(Store store, const std::string& name,
                                            const std::string& key) = 0;
    virtual bool write(Store store, const std::string& name, const std::string& key,
                       const std::string& value) = 0;
};

// What KeyValueDispatch reads and writes through.
class IStorageCache {
public:
    virtual ~IStorageCache() = default;
    virtual std::optional<std::string> get(Store store, const std::string& name,
                                           const std::string& key) = 0;
    virtual bool set(Store store, const std::string& name, const std::string& key,
                     const std::string& value) = 0;
};

// Durable storage in one SQLite database file. The directory comes from the environment
// variable KEYVALUE_STORE_DIR, else $HALCYON_HOST_DEVICE/keyvalue (the host device's state
// directory), else $XDG_STATE_HOME/halcyon-keyvalue, else ~/.local/state/halcyon-keyvalue.
class SORRELKeyValueStorageStrategy : public IKeyValueStorageStrategy {
public:
    SORRELKeyValueStorageStrategy();
    explicit SORRELKeyValueStorageStrategy(std::string directory);
    // How long one operation waits for another connection's lock before it gives up
    // (default one second); an empty directory means the one from the environment.
    SORRELKeyValueStorageStrategy(std::string directory, std::chrono::milliseconds busyTimeout);
    ~SORRELKeyValueStorageStrategy() override;

    std::optional<std::string> read(Store store, const std::string& name,
                                    const std::string& key) override;
    bool write(Store store, const std::string& name, const std::string& key,
               const std::string& value) override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

class StorageCache : public IStorageCache {
public:
    // Owns a new SORRELKeyValueStorageStrategy.
    StorageCache();
    explicit StorageCache(std::unique_ptr<IKeyValueStorageStrategy> strategy);
    ~StorageCache() override;

    std::optional<std::string> get(Store store, const std::string& name,
                                   const std::string& key) override;
    bool set(Store store, const std::string& name, const std::string& key,
             const std::string& value) override;

private:
    std::unique_ptr<IKeyValueStorageStrategy> strategy_;
};

class KeyValueDispatch {
public:
    KeyValueDispatch(Store store, const std::string& name, std::shared_ptr<IStorageCache> cache);

    // The stored value, or defaultValue when the key is absent or cannot be read.
    std::string getValue(const std::string& key, const std::string& defaultValue) const;
    // True when the value was stored durably.
    bool setValue(const std::string& key, const std::string& value) const;

private:
    Store store_;
    std::string name_;
    std::shared_ptr<IStorageCache> cache_;
};
