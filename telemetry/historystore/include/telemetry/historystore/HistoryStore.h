#pragma once

#include <halcyon/Mutex.h>
#include <halcyon/TelemetryExport.h>

#include <telemetry/historystore/ClockWrapper.h>
#include <telemetry/historystore/HistoryStoreBase.h>
#include <telemetry/historystore/IHistoryStore.h>

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace Tamar {
namespace OS {
namespace Telemetry {

// Every value one setting has taken, keyed by the steady-clock instant it was recorded at and
// an optional user id, so that an earlier event can be attributed to the state of its time.
// Instantiated for bool, int and unsigned int only (see HistoryStore.cpp).
template <typename T>
class TELEMETRY_EXPORT HistoryStore : public IHistoryStore<T>, public HistoryStoreBase {
public:
    using time_point = HistoryStoreBase::time_point;

    explicit HistoryStore(const std::string& name);
    // For hosts and tests that need a time source of their own; a null clock means the
    // steady clock.
    HistoryStore(const std::string& name, std::unique_ptr<ClockWrapper> clock);
    ~HistoryStore() override;

    HistoryStore(const HistoryStore&) = delete;
    HistoryStore& operator=(const HistoryStore&) = delete;

    void insert(const T& value) override;
    void insert(const time_point& t, const T& value) override;
    void insert(const HistoryKey& key, const T& value) override;
    std::optional<T> get() override;
    std::optional<T> get(const HistoryUserId& user) override;
    std::optional<T> find(const time_point& t, const HistoryUserId& user) override;

    size_t size() const override;
    std::string name() const override;
    std::string toString(const std::optional<time_point>& from,
                         const std::optional<time_point>& to) const override;
    void cleanup(const time_point& cutoff, unsigned long keep) override;

    std::string getTimestamp(const time_point& t) const;

private:
    const std::string storeName;
    const std::unique_ptr<ClockWrapper> clock;
    std::map<HistoryKey, T> history GUARDED_BY(mutex);
    mutable Mutex mutex;  // guards history; taken alone, never with another lock
};

extern template class HistoryStore<bool>;
extern template class HistoryStore<int>;
extern template class HistoryStore<unsigned int>;

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
