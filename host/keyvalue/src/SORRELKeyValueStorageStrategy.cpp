#include <keyvalue/KeyValueStore.h>

#include "SqliteKeyValueDatabase.h"

#include <utility>

namespace {

// Long enough to outlast any other process's write transaction (one statement each).
constexpr std::chrono::milliseconds kDefaultBusyTimeout{1000};

}  // namespace

struct SORRELKeyValueStorageStrategy::Impl {
    Impl(std::string directory, std::chrono::milliseconds busyTimeout)
        : database(std::move(directory), busyTimeout) {}
    keyvalue::SqliteKeyValueDatabase database;
};

SORRELKeyValueStorageStrategy::SORRELKeyValueStorageStrategy()
    : SORRELKeyValueStorageStrategy(std::string(), kDefaultBusyTimeout) {}

SORRELKeyValueStorageStrategy::SORRELKeyValueStorageStrategy(std::string directory)
    : SORRELKeyValueStorageStrategy(std::move(directory), kDefaultBusyTimeout) {}

SORRELKeyValueStorageStrategy::SORRELKeyValueStorageStrategy(std::string directory,
                                                             std::chrono::milliseconds busyTimeout)
    : impl_(std::make_unique<Impl>(std::move(directory), busyTimeout)) {}

SORRELKeyValueStorageStrategy::~SORRELKeyValueStorageStrategy() = default;

std::optional<std::string> SORRELKeyValueStorageStrategy::read(Store store, const std::string& name,
                                                               const std::string& key) {
    return impl_->database.read(static_cast<int>(store), name, key);
}

bool SORRELKeyValueStorageStrategy::write(Store store, const std::string& name,
                                          const std::string& key, const std::string& value) {
    return impl_->database.write(static_cast<int>(store), name, key, value);
}
