#include <telemetry/historystore/HistoryStoreManager.h>

#include <telemetry/historystore/HistoryStore.h>

namespace Tamar {
namespace OS {
namespace Telemetry {

HistoryStoreManager::HistoryStoreManager() = default;
HistoryStoreManager::~HistoryStoreManager() = default;

template <typename T>
std::shared_ptr<IHistoryStore<T>> HistoryStoreManager::createHistoryStore(const std::string& name,
                                                                          unsigned long keep) {
    auto store = std::make_shared<HistoryStore<T>>(name);
    LockGuard<Mutex> lock(registryLock);
    stores.emplace_back(store, keep);
    return store;
}

template std::shared_ptr<IHistoryStore<bool>> HistoryStoreManager::createHistoryStore<bool>(
        const std::string&, unsigned long);
template std::shared_ptr<IHistoryStore<int>> HistoryStoreManager::createHistoryStore<int>(
        const std::string&, unsigned long);
template std::shared_ptr<IHistoryStore<unsigned int>>
HistoryStoreManager::createHistoryStore<unsigned int>(const std::string&, unsigned long);

void HistoryStoreManager::cleanup(int timeoutSec) {
    cleanup(timeoutSec, std::chrono::steady_clock::now());
}

void HistoryStoreManager::cleanup(int timeoutSec, const time_point& now) {
    const time_point cutoff = now - std::chrono::seconds(timeoutSec);
    // Work on a snapshot so that no store lock is ever taken under the registry lock.
    for (const auto& [store, keep] : registry()) {
        store->cleanup(cutoff, keep);
    }
}

std::string HistoryStoreManager::dump(const std::optional<time_point>& from,
                                      const std::optional<time_point>& to) const {
    std::string text;
    for (const auto& entry : registry()) {
        text += entry.first->toString(from, to);
    }
    return text;
}

std::vector<HistoryStoreManager::RegistryEntry> HistoryStoreManager::registry() const {
    LockGuard<Mutex> lock(registryLock);
    return stores;
}

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
