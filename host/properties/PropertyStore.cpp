#include <hostproperties/PropertyStore.h>

#include <algorithm>

#include "ProcessArea.h"
#include "PropertyProtocol.h"

namespace hostproperties {

SetPropertyResult writeProperty(std::string_view name, std::string_view value) {
    const std::string& dir = hostDeviceDir();
    if (dir.empty()) return writeLocalProperty(name, value);
    return requestPropertyWrite(dir + "/" + kServiceSocketName, name, value);
}

bool setProperty(const std::string& key, const std::string& value) {
    return writeProperty(key, value) == SetPropertyResult::kOk;
}

std::string getProperty(const std::string& key) {
    const PropertyArea* area = processArea();
    const prop_info* info = area == nullptr ? nullptr : area->find(key);
    if (info == nullptr) return {};
    char buffer[PROP_VALUE_MAX + 8];
    uint32_t serial;
    return area->readWhole(info, buffer, &serial);
}

std::vector<std::pair<std::string, std::string>> listProperties() {
    std::vector<std::pair<std::string, std::string>> all;
    const PropertyArea* area = processArea();
    if (area == nullptr) return all;
    char buffer[PROP_VALUE_MAX + 8];
    area->forEach([&](const prop_info* info) {
        uint32_t serial;
        all.emplace_back(info->name, area->readWhole(info, buffer, &serial));
    });
    std::sort(all.begin(), all.end());
    return all;
}

bool usingHostDevice() {
    return !hostDeviceDir().empty() && processArea() != nullptr;
}

}  // namespace hostproperties
