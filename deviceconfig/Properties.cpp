#include <deviceconfig/Properties.h>

#include <cstdio>

namespace com::halcyon::deviceconfig {

Properties::Properties(const std::vector<aidl::Property>& properties) {
    for (const aidl::Property& property : properties) {
        mProperties.emplace(property.key, property);  // keeps an earlier entry of the same key
    }
}

std::string Properties::getString(const std::string& key, const std::string& defaultValue) const {
    const auto it = mProperties.find(key);
    return it == mProperties.end() ? defaultValue : it->second.value;
}

bool Properties::getBoolean(const std::string& key, bool defaultValue) const {
    const auto it = mProperties.find(key);
    if (it == mProperties.end()) return defaultValue;
    std::string text = it->second.value;
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    if (text == "true") return true;
    if (text == "false") return false;
    return defaultValue;
}

long Properties::getLong(const std::string& key, long defaultValue) const {
    const auto it = mProperties.find(key);
    if (it == mProperties.end()) return defaultValue;
    long number = 0;
    char next = 0;
    // A second converted item means characters trail the number.
    if (sscanf(it->second.value.c_str(), "%ld%c", &number, &next) != 1) return defaultValue;
    return number;
}

double Properties::getDouble(const std::string& key, double defaultValue) const {
    const auto it = mProperties.find(key);
    if (it == mProperties.end()) return defaultValue;
    double number = 0;
    char next = 0;
    if (sscanf(it->second.value.c_str(), "%lf%c", &number, &next) != 1) return defaultValue;
    return number;
}

std::vector<std::string> Properties::getKeys() const {
    std::vector<std::string> keys;
    keys.reserve(mProperties.size());
    for (const auto& entry : mProperties) keys.push_back(entry.first);
    return keys;
}

}  // namespace com::halcyon::deviceconfig
