#include <telemetry/historystore/HistoryStore.h>

#include <cstdint>
#include <iomanip>
#include <iterator>
#include <limits>
#include <sstream>
#include <unordered_map>
#include <utility>

namespace Tamar {
namespace OS {
namespace Telemetry {

namespace {

constexpr int64_t kNanosPerHour = 3600000000000LL;
constexpr int64_t kNanosPerMinute = 60000000000LL;
constexpr int64_t kNanosPerSecond = 1000000000LL;
constexpr int64_t kNanosPerMilli = 1000000LL;

constexpr char kDumpHeading[] = "\t|#\tUSER\tTIME\t\t\tVALUE\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t|";
constexpr size_t kDumpRuleWidth = 168;

}  // namespace

template <typename T>
HistoryStore<T>::HistoryStore(const std::string& name)
    : HistoryStore(name, std::make_unique<ClockWrapper>()) {}

template <typename T>
HistoryStore<T>::HistoryStore(const std::string& name, std::unique_ptr<ClockWrapper> clock)
    : storeName(name), clock(clock ? std::move(clock) : std::make_unique<ClockWrapper>()) {}

template <typename T>
HistoryStore<T>::~HistoryStore() = default;

template <typename T>
void HistoryStore<T>::insert(const T& value) {
    insert(clock->now(), value);
}

template <typename T>
void HistoryStore<T>::insert(const time_point& t, const T& value) {
    insert(HistoryKey{t, std::nullopt}, value);
}

template <typename T>
void HistoryStore<T>::insert(const HistoryKey& key, const T& value) {
    LockGuard<Mutex> lock(mutex);
    history[key] = value;
}

template <typename T>
std::optional<T> HistoryStore<T>::get() {
    return get(std::nullopt);
}

template <typename T>
std::optional<T> HistoryStore<T>::get(const HistoryUserId& user) {
    return find(clock->now(), user);
}

template <typename T>
std::optional<T> HistoryStore<T>::find(const time_point& t, const HistoryUserId& user) {
    LockGuard<Mutex> lock(mutex);
    // Everything before this position is at or before t, so the newest-first walk starts at
    // the newest eligible entry instead of passing every later one. Within one instant user
    // entries sort after the user-less one and are therefore met first.
    auto it = history.upper_bound(HistoryKey{t, std::numeric_limits<unsigned int>::max()});
    while (it != history.begin()) {
        --it;
        const HistoryUserId& entryUser = it->first.second;
        if (!entryUser.has_value() || entryUser == user) {
            return it->second;
        }
    }
    return std::nullopt;
}

template <typename T>
size_t HistoryStore<T>::size() const {
    LockGuard<Mutex> lock(mutex);
    return history.size();
}

template <typename T>
std::string HistoryStore<T>::name() const {
    return storeName;
}

template <typename T>
std::string HistoryStore<T>::toString(const std::optional<time_point>& from,
                                      const std::optional<time_point>& to) const {
    std::ostringstream out;
    out << name() << std::endl;

    const std::string rule = "\t" + std::string(kDumpRuleWidth, '-');
    int row = 0;
    LockGuard<Mutex> lock(mutex);
    for (const auto& [key, value] : history) {
        const time_point& at = key.first;
        if (to.has_value() && *to < at) {
            break;  // ascending order: every later entry is past the bound as well
        }
        if (from.has_value() && at < *from) {
            continue;
        }
        if (row == 0) {
            out << rule << std::endl << kDumpHeading << std::endl << rule << std::endl;
        }
        ++row;
        // The user id and the time are printed without a separator; dump readers rely on it.
        out << '\t' << row << '\t' << key.second.value_or(0u) << getTimestamp(at) << '\t' << value
            << std::endl;
    }
    if (row == 0) {
        out << "EMPTY" << std::endl;
    }
    return out.str();
}

template <typename T>
void HistoryStore<T>::cleanup(const time_point& cutoff, unsigned long keep) {
    LockGuard<Mutex> lock(mutex);
    if (history.size() <= keep) {
        return;
    }
    // Newest first: the rank of an entry is the number of newer entries of its own user (or
    // of the user-less group), so each group keeps its `keep` newest entries at any age.
    std::unordered_map<unsigned int, unsigned long> userRanks;
    unsigned long userlessRank = 0;
    auto next = history.end();
    while (next != history.begin()) {
        auto entry = std::prev(next);
        const HistoryUserId& user = entry->first.second;
        unsigned long& counter = user.has_value() ? userRanks[*user] : userlessRank;
        const unsigned long rank = counter++;
        if (rank >= keep && entry->first.first < cutoff) {
            history.erase(entry);  // `next` stays valid and now follows the older neighbour
        } else {
            next = entry;
        }
    }
}

template <typename T>
std::string HistoryStore<T>::getTimestamp(const time_point& t) const {
    int64_t r = std::chrono::duration_cast<std::chrono::nanoseconds>(t.time_since_epoch()).count();
    const int64_t hours = r / kNanosPerHour;
    r -= hours * kNanosPerHour;
    const int64_t minutes = r / kNanosPerMinute;
    r -= minutes * kNanosPerMinute;
    const int64_t seconds = r / kNanosPerSecond;
    r -= seconds * kNanosPerSecond;
    const int64_t millis = r / kNanosPerMilli;
    r -= millis * kNanosPerMilli;
    const int64_t rest = r % kNanosPerSecond;

    std::ostringstream out;
    out << std::setfill('0') << std::setw(2) << hours << ':' << std::setw(2) << minutes << ':'
        << std::setw(2) << seconds << '.' << std::setw(3) << millis << '.' << std::setw(9) << rest;
    return out.str();
}

template class HistoryStore<bool>;
template class HistoryStore<int>;
template class HistoryStore<unsigned int>;

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
