#pragma once

// Serialised access to libbase's host property map.
//
// libbase's host map (Debian 29.0.6) takes no lock in GetProperty or SetProperty, so a
// write racing with any other access is a data race. Every read in this library goes
// through the functions below; host code that writes while other threads may read must
// use setProperty() instead of calling android::base::SetProperty directly.

#include <string>

namespace hostproperties {

// android::base::SetProperty under the store lock.
bool setProperty(const std::string& key, const std::string& value);

// android::base::GetProperty(key, "") under the store lock; "" means unset.
std::string getProperty(const std::string& key);

}  // namespace hostproperties
