#pragma once

#include <halcyon/TelemetryExport.h>

#include <chrono>
#include <optional>
#include <utility>

namespace Tamar {
namespace OS {
namespace Telemetry {

using HistoryTimePoint = std::chrono::steady_clock::time_point;
using HistoryUserId = std::optional<unsigned int>;
using HistoryKey = std::pair<HistoryTimePoint, HistoryUserId>;

// Typed face of a value history. Slot order is part of the ABI.
template <typename T>
class TELEMETRY_EXPORT IHistoryStore {
public:
    virtual ~IHistoryStore() = default;
    virtual void insert(const T& value) = 0;
    virtual void insert(const HistoryTimePoint& t, const T& value) = 0;
    virtual void insert(const HistoryKey& key, const T& value) = 0;
    virtual std::optional<T> get() = 0;
    virtual std::optional<T> get(const HistoryUserId& user) = 0;
    virtual std::optional<T> find(const HistoryTimePoint& t, const HistoryUserId& user) = 0;
};

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
