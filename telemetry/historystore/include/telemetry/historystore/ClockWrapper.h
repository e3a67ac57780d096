#pragma once

#include <halcyon/TelemetryExport.h>

#include <chrono>

namespace Tamar {
namespace OS {
namespace Telemetry {

// Time source of the histories; a class so that tests and hosts can substitute their own.
class TELEMETRY_EXPORT ClockWrapper {
public:
    virtual ~ClockWrapper();
    virtual std::chrono::steady_clock::time_point now() const;
};

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
