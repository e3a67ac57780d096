#pragma once

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

}  // namespace Telemetry
}  // namespace OS
}  // namespace Tamar
