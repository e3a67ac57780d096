#pragma once

#include <halcyon/TelemetryExport.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace Tamar {
namespace OS {
namespace Telemetry {

// Untyped face of a value history, used to clean up and dump every store alike.
// Slot order is part of the ABI.
class TELEMETRY_EXPORT HistoryStoreBase {
public:
    using time_point = std::chrono::steady_clock::time_point;

    virtual ~HistoryStoreBase() = default;
    virtual std::string name() const = 0;
    virtual void cleanup(const time_point& cutoff, unsigned long keep) = 0;
    virtual size_t size() const = 0;
    virtual std::string toString(const std::optional<time_point>& from,
                                 const std::optional<time_point>& to) const = 0;
};

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
