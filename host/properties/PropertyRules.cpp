#include "PropertyRules.h"

#include <sys/system_properties.h>

#include <cctype>

namespace hostproperties {

bool isLegalPropertyName(std::string_view name) {
    if (name.empty() || name.front() == '.' || name.back() == '.') return false;
    for (size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        if (c == '.') {
            if (name[i - 1] == '.') return false;
            continue;
        }
        if (c == '_' || c == '-' || c == '@' || c == ':') continue;
        if (std::isalnum(static_cast<unsigned char>(c)) == 0) return false;
    }
    return true;
}

SetPropertyResult checkPropertyWrite(std::string_view name, std::string_view value) {
    if (!isLegalPropertyName(name)) return SetPropertyResult::kInvalidName;
    // A value is a C string on every read path.
    if (value.find('\0') != std::string_view::npos) return SetPropertyResult::kInvalidValue;
    if (value.size() >= PROP_VALUE_MAX && !name.starts_with("ro.")) {
        return SetPropertyResult::kValueTooLong;
    }
    return SetPropertyResult::kOk;
}

const char* describe(SetPropertyResult result) {
    switch (result) {
        case SetPropertyResult::kOk:
            return "ok";
        case SetPropertyResult::kInvalidName:
            return "Illegal property name";
        case SetPropertyResult::kInvalidValue:
            return "Property value contains a NUL byte";
        case SetPropertyResult::kValueTooLong:
            return "Property value too long";
        case SetPropertyResult::kReadOnly:
            return "Read-only property was already set";
        case SetPropertyResult::kAreaFull:
            return "Property area is full";
        case SetPropertyResult::kPersistFailed:
            return "Property set but could not be saved";
        case SetPropertyResult::kNoHostDevice:
            return "No host device is running";
        case SetPropertyResult::kIoError:
            return "Property service did not answer";
    }
    return "unknown result";
}

}  // namespace hostproperties
