#include <sys/system_properties.h>

#include <hostproperties/PropertyStore.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>

#include "ProcessArea.h"

using hostproperties::processArea;
using hostproperties::PropertyArea;

namespace {

// A handle taken before the host device restarted names a record of the replaced area;
// it answers from the current area's record of the same name, as long as that exists.
const prop_info* currentRecord(const prop_info* pi) {
    if (!PropertyArea::owning(pi)->stale()) [[likely]]
        return pi;
    const PropertyArea* area = processArea();
    const prop_info* current = area == nullptr ? nullptr : area->find(pi->name);
    return current != nullptr ? current : pi;
}

}  // namespace

extern "C" int __system_property_set(const char* name, const char* value) {
    if (name == nullptr) return -1;
    return hostproperties::writeProperty(name, value == nullptr ? "" : value) ==
                           hostproperties::SetPropertyResult::kOk
                   ? 0
                   : -1;
}

extern "C" const prop_info* __system_property_find(const char* name) {
    if (name == nullptr) return nullptr;
    const PropertyArea* area = processArea();
    return area == nullptr ? nullptr : area->find(name);
}

extern "C" void __system_property_read_callback(const prop_info* pi,
                                                void (*callback)(void* cookie, const char* name,
                                                                 const char* value, uint32_t serial),
                                                void* cookie) {
    if (pi == nullptr || callback == nullptr) return;
    pi = currentRecord(pi);
    const PropertyArea* area = PropertyArea::owning(pi);
    char buffer[PROP_VALUE_MAX + 8];
    uint32_t serial;
    const char* value = area->readWhole(pi, buffer, &serial);
    callback(cookie, pi->name, value, serial);
}

extern "C" int __system_property_foreach(void (*callback)(const prop_info* pi, void* cookie),
                                         void* cookie) {
    const PropertyArea* area = processArea();
    if (area == nullptr || callback == nullptr) return 0;
    area->forEach([&](const prop_info* info) { callback(info, cookie); });
    return 0;
}

extern "C" int __system_property_read(const prop_info* pi, char* name, char* value) {
    if (pi == nullptr) return 0;
    pi = currentRecord(pi);
    if (name != nullptr) {
        const size_t length = std::min<size_t>(pi->nameLength, PROP_NAME_MAX - 1);
        std::memcpy(name, pi->name, length);
        name[length] = '\0';
    }
    char buffer[PROP_VALUE_MAX + 8];
    PropertyArea::owning(pi)->readInline(pi, buffer);
    const size_t length = std::strlen(buffer);
    if (value != nullptr) std::memcpy(value, buffer, length + 1);
    return static_cast<int>(length);
}

extern "C" int __system_property_get(const char* name, char* value) {
    if (value == nullptr) return 0;
    value[0] = '\0';
    const prop_info* info = __system_property_find(name);
    if (info == nullptr) return 0;
    return hostproperties::serialValueLength(PropertyArea::owning(info)->readInline(info, value));
}

extern "C" uint32_t __system_property_serial(const prop_info* pi) {
    if (pi == nullptr) return 0;
    pi = currentRecord(pi);
    // Waits out an update in progress so that the serial names a complete value; a writer
    // that died mid-update left an area that a restarted host device has replaced.
    const timespec pause{0, 1000000};
    for (;;) {
        const uint32_t serial = pi->serial.load(std::memory_order_acquire);
        if (!hostproperties::serialDirty(serial) || PropertyArea::owning(pi)->stale()) {
            return serial & ~1u;
        }
        syscall(SYS_futex, reinterpret_cast<const uint32_t*>(&pi->serial), FUTEX_WAIT, serial,
                &pause, nullptr, 0);
    }
}

extern "C" uint32_t __system_property_area_serial(void) {
    const PropertyArea* area = processArea();
    return area == nullptr ? 0 : area->serialWord().load(std::memory_order_acquire);
}

extern "C" bool __system_property_wait(const prop_info* pi, uint32_t old_serial,
                                       uint32_t* new_serial_ptr,
                                       const struct timespec* relative_timeout) {
    static std::atomic<uint32_t> noArea{0};
    if (pi != nullptr) pi = currentRecord(pi);
    const PropertyArea* area = processArea();
    std::atomic<uint32_t>* word = pi != nullptr ? const_cast<std::atomic<uint32_t>*>(&pi->serial)
                                  : area != nullptr ? &area->serialWord()
                                                    : &noArea;
    uint32_t current;
    while ((current = word->load(std::memory_order_acquire)) == old_serial) {
        // A shared futex: the writer may be another process. The timeout restarts after a
        // spurious wake-up, as on a device.
        const long rc = syscall(SYS_futex, reinterpret_cast<uint32_t*>(word), FUTEX_WAIT,
                                old_serial, relative_timeout, nullptr, 0);
        if (rc != 0 && errno == ETIMEDOUT) return false;
    }
    if (new_serial_ptr != nullptr) *new_serial_ptr = current;
    return true;
}
