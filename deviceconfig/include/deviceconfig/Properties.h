#pragma once

#include <halcyon/TelemetryExport.h>

#include <com/halcyon/deviceconfig/aidl/Property.h>

#include <map>
#include <string>
#include <vector>

namespace com::halcyon::deviceconfig {

// An immutable snapshot of device-config properties with typed getters. Every getter answers
// the given default when the key is missing or its text does not parse as the asked type.
class TELEMETRY_EXPORT Properties {
public:
    // When a key occurs more than once, its first occurrence wins.
    Properties(const std::vector<aidl::Property>& properties);

    std::string getString(const std::string& key, const std::string& defaultValue) const;
    // Only "true" and "false", in any ASCII case.
    bool getBoolean(const std::string& key, bool defaultValue) const;
    // A whole number with optional leading white space and nothing after it.
    long getLong(const std::string& key, long defaultValue) const;
    double getDouble(const std::string& key, double defaultValue) const;
    // Ascending byte-wise order.
    std::vector<std::string> getKeys() const;

private:
    std::map<std::string, aidl::Property> mProperties;
};

}  // namespace com::halcyon::deviceconfig
