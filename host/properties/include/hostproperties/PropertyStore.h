#pragma once

// This process's view of the device's system properties.
//
// Where the properties live is decided once per process, at first use:
//  - HALCYON_HOST_DEVICE unset: an area in this process's own memory (tests, host tools).
//    Writes apply directly, under one writer lock; reads never take it.
//  - HALCYON_HOST_DEVICE=<dir>: the host device's area, <dir>/properties, mapped read-only.
//    Writes are requests to the host device's property service (<dir>/property_service),
//    which applies them and answers with a SetPropertyResult.
// Both apply the device's rules (see SetPropertyResult). bionic's __system_property_*
// functions and libbase's GetProperty/SetProperty (interposed by this library) read and
// write the same properties.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace hostproperties {

// Why a write was refused. The numbering is stable: it is the wire answer of the service
// and the exit status of host tools may be derived from it.
enum class SetPropertyResult : int32_t {
    kOk = 0,
    kInvalidName =
            1,  // empty, leading/trailing/doubled '.', or a character outside [A-Za-z0-9.@:_-]
    kInvalidValue = 2,   // contains a NUL byte
    kValueTooLong = 3,   // a non-"ro." value of PROP_VALUE_MAX (92) bytes or more
    kReadOnly = 4,       // an "ro." property that is already set
    kAreaFull = 5,       // no room left in the property area
    kPersistFailed = 6,  // a "persist." value was set but could not be saved
    kNoHostDevice = 7,   // HALCYON_HOST_DEVICE is set but no property service answers there
    kIoError = 8,        // the service broke off the request
};

// The device's message for a result, e.g. "Read-only property was already set".
const char* describe(SetPropertyResult result);

// Sets `name` to `value` in this process's property store; says why it was refused.
SetPropertyResult writeProperty(std::string_view name, std::string_view value);

// writeProperty() == kOk.
bool setProperty(const std::string& key, const std::string& value);

// The value of `key`; "" when unset or set to "".
std::string getProperty(const std::string& key);

// Every property as (name, value), sorted by name.
std::vector<std::pair<std::string, std::string>> listProperties();

// True when this process reads the host device's area (HALCYON_HOST_DEVICE is set and the
// area is mapped); false for the in-process area or when no host device has started yet.
bool usingHostDevice();

}  // namespace hostproperties
