#pragma once

// The property area this process reads, and its writer when the area is its own.

#include <hostproperties/PropertyStore.h>

#include <string>

#include "PropertyArea.h"

namespace hostproperties {

// The current area; null only when HALCYON_HOST_DEVICE names a directory without a
// running host device. Lock-free once mapped; remaps when the host device restarted.
const PropertyArea* processArea();

// The HALCYON_HOST_DEVICE directory, or "" for the in-process area.
const std::string& hostDeviceDir();

// Applies a write to the in-process area (HALCYON_HOST_DEVICE unset).
SetPropertyResult writeLocalProperty(std::string_view name, std::string_view value);

// Shared by the in-process writer and the property service: the device's rules applied
// to `area` (the caller is its only writer).
SetPropertyResult applyWrite(PropertyArea* area, std::string_view name, std::string_view value);

}  // namespace hostproperties

namespace hostproperties {

// File names inside the host device's directory.
inline constexpr char kAreaFileName[] = "properties";
inline constexpr char kServiceSocketName[] = "property_service";
inline constexpr char kServiceLockName[] = "property_service.lock";

}  // namespace hostproperties
