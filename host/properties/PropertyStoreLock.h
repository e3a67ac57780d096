#pragma once

#include <mutex>

namespace hostproperties {

// Guards every call into libbase's (unlocked) host property map made by this library.
std::mutex& propertyStoreMutex();

}  // namespace hostproperties
