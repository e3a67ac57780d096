#pragma once

#include <chrono>

// The two logging endpoints of the event logger. Their hosts are deployment settings: a
// device build defines TELEMETRY_PRODUCTION_ENDPOINT_HOST and TELEMETRY_ON_DEMAND_ENDPOINT_HOST;
// the defaults below only serve host builds.

#ifndef TELEMETRY_PRODUCTION_ENDPOINT_HOST
#define TELEMETRY_PRODUCTION_ENDPOINT_HOST "telemetry.halcyon.invalid"
#endif
#ifndef TELEMETRY_ON_DEMAND_ENDPOINT_HOST
#define TELEMETRY_ON_DEMAND_ENDPOINT_HOST "telemetry-sandbox.halcyon.invalid"
#endif

namespace Tamar {
namespace OS {
namespace Telemetry {

inline constexpr char kProductionLoggingEndpoint[] =
        "https://" TELEMETRY_PRODUCTION_ENDPOINT_HOST "/heron_nest";
inline constexpr char kOnDemandLoggingEndpoint[] =
        "https://" TELEMETRY_ON_DEMAND_ENDPOINT_HOST "/heron_nest";

// How an upload waits for a restarted logger to come up (a one-second sleep). Tests replace it
// to see the wait without taking it; null restores the sleep.
using RestartSettleWait = void (*)(std::chrono::nanoseconds settle);
void setRestartSettleWaitForTesting(RestartSettleWait wait);

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
