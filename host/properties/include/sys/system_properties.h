#pragma once

// Host build of bionic's system-property read functions. Values live in libbase's
// in-process property map, so android::base::SetProperty/GetProperty and these
// functions see the same store. An empty value counts as unset.

#include <stdint.h>

#define PROP_NAME_MAX 32
#define PROP_VALUE_MAX 92

#ifdef __cplusplus
extern "C" {
#endif

// Opaque handle of one property. A handle stays valid for the life of the process.
struct prop_info;
typedef struct prop_info prop_info;

// Returns the handle of a property that currently has a non-empty value, or null.
const prop_info* __system_property_find(const char* name);

// Calls `callback` once with the property's name, its current value and a serial number
// that changes whenever a read observes a different value. Does nothing for a null
// handle or callback.
void __system_property_read_callback(const prop_info* pi,
                                     void (*callback)(void* cookie, const char* name,
                                                      const char* value, uint32_t serial),
                                     void* cookie);

// Copies the value into `value` (at least PROP_VALUE_MAX bytes) and returns its length;
// an unset property gives "" and 0. Longer values are cut to PROP_VALUE_MAX - 1 bytes.
int __system_property_get(const char* name, char* value);

#ifdef __cplusplus
}
#endif
