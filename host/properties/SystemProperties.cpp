#include <sys/system_properties.h>

#include <android-base/properties.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <string_view>

#include "PropertyStoreLock.h"

// A handle names a property; the value itself stays in libbase's map. The serial and the
// last value seen are kept only so that the serial changes when the value does.
struct prop_info {
    explicit prop_info(std::string_view n) : name(n) {}
    const std::string name;
    std::string lastValue;  // guarded by propertyStoreMutex()
    uint32_t serial = 0;    // guarded by propertyStoreMutex()
};

namespace {

// Handles are interned by name and never freed, as on a device where they point into
// the shared property area. Both the table and its entries stay reachable forever.
std::map<std::string, prop_info*, std::less<>>& handles() {
    static auto* table = new std::map<std::string, prop_info*, std::less<>>;
    return *table;
}

// Caller holds propertyStoreMutex().
prop_info* internLocked(std::string_view name) {
    auto& table = handles();
    auto it = table.find(name);
    if (it == table.end()) {
        it = table.emplace(std::string(name), new prop_info(name)).first;
    }
    return it->second;
}

}  // namespace

extern "C" const prop_info* __system_property_find(const char* name) {
    if (name == nullptr) return nullptr;
    std::lock_guard<std::mutex> lock(hostproperties::propertyStoreMutex());
    if (android::base::GetProperty(name, "").empty()) return nullptr;
    return internLocked(name);
}

extern "C" void __system_property_read_callback(const prop_info* pi,
                                                void (*callback)(void* cookie, const char* name,
                                                                 const char* value, uint32_t serial),
                                                void* cookie) {
    if (pi == nullptr || callback == nullptr) return;
    // Handles only come from internLocked(), which hands out mutable objects.
    auto* info = const_cast<prop_info*>(pi);
    std::string value;
    uint32_t serial;
    {
        std::lock_guard<std::mutex> lock(hostproperties::propertyStoreMutex());
        value = android::base::GetProperty(info->name, "");
        if (value != info->lastValue) {
            info->lastValue = value;
            ++info->serial;
        }
        serial = info->serial;
    }
    // Outside the lock, so a callback may read other properties.
    callback(cookie, info->name.c_str(), value.c_str(), serial);
}

extern "C" int __system_property_get(const char* name, char* value) {
    if (value == nullptr) return 0;
    value[0] = '\0';
    if (name == nullptr) return 0;
    std::string current;
    {
        std::lock_guard<std::mutex> lock(hostproperties::propertyStoreMutex());
        current = android::base::GetProperty(name, "");
    }
    // The host map has no length limit; callers of this function only have room for
    // PROP_VALUE_MAX bytes.
    const size_t length = std::min(current.size(), static_cast<size_t>(PROP_VALUE_MAX - 1));
    std::memcpy(value, current.data(), length);
    value[length] = '\0';
    return static_cast<int>(length);
}
