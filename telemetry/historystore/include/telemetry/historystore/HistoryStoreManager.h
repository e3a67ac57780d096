#pragma once

#include <halcyon/Mutex.h>
#include <halcyon/TelemetryExport.h>

#include <telemetry/historystore/HistoryStoreBase.h>
#include <telemetry/historystore/IHistoryStore.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Tamar {
namespace OS {
namespace Telemetry {

// Makes the value histories and keeps every one it made, so that they can be cleaned up and
// dumped together.
class TELEMETRY_EXPORT HistoryStoreManager {
public:
    using time_point = std::chrono::steady_clock::time_point;
    // A store and the number of newest entries per user it keeps on clean-up.
    using RegistryEntry = std::pair<std::shared_ptr<HistoryStoreBase>, unsigned long>;

    static constexpr char ACCOUNT_CHECKPOINTED[] = "Account Checkpointed";
    static constexpr char CURRENT_USER[] = "Current User";
    static constexpr char LOCAL_ACCOUNT_MODE[] = "Local Account Mode";
    static constexpr char MANAGED_MODE[] = "Managed Mode";

    HistoryStoreManager();
    ~HistoryStoreManager();

    HistoryStoreManager(const HistoryStoreManager&) = delete;
    HistoryStoreManager& operator=(const HistoryStoreManager&) = delete;

    // Instantiated for bool, int and unsigned int. Names are not checked: an empty or repeated
    // name makes a further store.
    template <typename T>
    std::shared_ptr<IHistoryStore<T>> createHistoryStore(const std::string& name,
                                                         unsigned long keep);

    // Drops, in every store, the entries older than timeoutSec seconds beyond each user's
    // registered number of newest entries.
    void cleanup(int timeoutSec);
    void cleanup(int timeoutSec, const time_point& now);

    // The dumps of every store in creation order, limited to [from, to].
    std::string dump(const std::optional<time_point>& from = {},
                     const std::optional<time_point>& to = {}) const;

    // A snapshot of the registry in creation order.
    std::vector<RegistryEntry> registry() const;

private:
    mutable Mutex registryLock;  // guards stores; released before any store is touched
    std::vector<RegistryEntry> stores GUARDED_BY(registryLock);
};

extern template std::shared_ptr<IHistoryStore<bool>> HistoryStoreManager::createHistoryStore<bool>(
        const std::string&, unsigned long);
extern template std::shared_ptr<IHistoryStore<int>> HistoryStoreManager::createHistoryStore<int>(
        const std::string&, unsigned long);
extern template std::shared_ptr<IHistoryStore<unsigned int>>
HistoryStoreManager::createHistoryStore<unsigned int>(const std::string&, unsigned long);

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
