#include <keyvalue/KeyValueStore.h>

#include <utility>

KeyValueDispatch::KeyValueDispatch(Store store, const std::string& name,
                                   std::shared_ptr<IStorageCache> cache)
    : store_(store), name_(name), cache_(std::move(cache)) {}

std::string KeyValueDispatch::getValue(const std::string& key,
                                       const std::string& defaultValue) const {
    if (!cache_) return defaultValue;
    std::optional<std::string> value = cache_->get(store_, name_, key);
    if (!value) return defaultValue;
    return std::move(*value);
}

bool KeyValueDispatch::setValue(const std::string& key, const std::string& value) const {
    return cache_ && cache_->set(store_, name_, key, value);
}
