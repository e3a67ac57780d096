#pragma once

// Host build of bionic's system-property functions, with bionic's prototypes. Properties
// live in a property area (see hostproperties/PropertyStore.h): this process's own, or the
// host device's when HALCYON_HOST_DEVICE is set. Reads never lock or enter the kernel.

#include <stdbool.h>
#include <stdint.h>
#include <time.h>

#define PROP_NAME_MAX 32
#define PROP_VALUE_MAX 92

#ifdef __cplusplus
extern "C" {
#endif

// Opaque handle of one property; valid for the life of the process.
typedef struct prop_info prop_info;

// Sets a property (through the host device's service when there is one); 0 or -1.
int __system_property_set(const char* __name, const char* __value);

// The handle of a property that was ever set (also to ""), or null.
const prop_info* __system_property_find(const char* __name);

// Calls `callback` once with the name, the whole current value and its serial.
void __system_property_read_callback(const prop_info* __pi,
                                     void (*__callback)(void* __cookie, const char* __name,
                                                        const char* __value, uint32_t __serial),
                                     void* __cookie);

// Calls `callback` for every property; 0.
int __system_property_foreach(void (*__callback)(const prop_info* __pi, void* __cookie),
                              void* __cookie);

// Waits until the serial of `pi` (of the whole area when null) differs from `old_serial`,
// stores it in `new_serial_ptr` and returns true; false on timeout (null: no timeout).
bool __system_property_wait(const prop_info* __pi, uint32_t __old_serial,
                            uint32_t* __new_serial_ptr, const struct timespec* __relative_timeout);

// Deprecated: copies the name (PROP_NAME_MAX bytes, truncated) and the value
// (PROP_VALUE_MAX bytes) and returns the value's length.
int __system_property_read(const prop_info* __pi, char* __name, char* __value);

// Copies the value (PROP_VALUE_MAX bytes room) and returns its length; 0 and "" when unset.
// A read-only value too long for the buffer reads as an error text, as on a device.
int __system_property_get(const char* __name, char* __value);

// The current serial of one property: value length << 24 | change counter.
uint32_t __system_property_serial(const prop_info* __pi);

// A number that changes whenever any property is added or changed.
uint32_t __system_property_area_serial(void);

#ifdef __cplusplus
}
#endif
