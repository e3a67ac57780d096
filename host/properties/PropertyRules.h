#pragma once

// The checks the property service applies to a write, as init does on a device.

#include <hostproperties/PropertyStore.h>

#include <string_view>

namespace hostproperties {

// Names: non-empty, no leading, trailing or doubled '.', only [A-Za-z0-9.@:_-].
bool isLegalPropertyName(std::string_view name);

// kOk, kInvalidName or kValueTooLong (only "ro." values may reach PROP_VALUE_MAX bytes).
SetPropertyResult checkPropertyWrite(std::string_view name, std::string_view value);

}  // namespace hostproperties
