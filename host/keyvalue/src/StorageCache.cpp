#include <keyvalue/KeyValueStore.h>

#include <utility>

// Reads go through to the strategy every time. Other processes write the same store, and a
// lookup by primary key costs about what checking a cached copy for staleness would, so
// keeping copies here would only add ways to answer with an old value.

StorageCache::StorageCache() : strategy_(std::make_unique<SORRELKeyValueStorageStrategy>()) {}

StorageCache::StorageCache(std::unique_ptr<IKeyValueStorageStrategy> strategy)
    : strategy_(std::move(strategy)) {}

StorageCache::~StorageCache() = default;

std::optional<std::string> StorageCache::get(Store store, const std::string& name,
                                             const std::string& key) {
    if (!strategy_) return std::nullopt;
    return strategy_->read(store, name, key);
}

bool StorageCache::set(Store store, const std::string& name, const std::string& key,
                       const std::string& value) {
    if (!strategy_) return false;
    return strategy_->write(store, name, key, value);
}
