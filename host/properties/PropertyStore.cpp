#include <hostproperties/PropertyStore.h>

#include <android-base/properties.h>

#include "PropertyStoreLock.h"

namespace hostproperties {

std::mutex& propertyStoreMutex() {
    // Never destroyed: readers may run during static destruction.
    static auto* mutex = new std::mutex;
    return *mutex;
}

bool setProperty(const std::string& key, const std::string& value) {
    std::lock_guard<std::mutex> lock(propertyStoreMutex());
    return android::base::SetProperty(key, value);
}

std::string getProperty(const std::string& key) {
    std::lock_guard<std::mutex> lock(propertyStoreMutex());
    return android::base::GetProperty(key, "");
}

}  // namespace hostproperties
