#include "HostEnvironment.h"

#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <deviceconfig_host/HostDeviceConfigService.h>
#include <hostproperties/PropertyFile.h>
#include <utils/String16.h>

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>

#ifndef TELEMETRY_DUMP_MODULE_PATH
#define TELEMETRY_DUMP_MODULE_PATH "libbasalt.halcyon.so"
#endif

namespace telemetrydump {
namespace {

// Checks a `key=value` file before a host service reads it, so that a bad line stops the
// run with its file and line instead of being skipped with a log line.
bool validateKeyValueFile(const std::string& path, bool namespacedKeys, std::string* error) {
    // A directory opens as a stream but reads as empty, which would pass as an empty file.
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        *error = path + ": cannot open: is a directory";
        return false;
    }
    std::ifstream in(path);
    if (!in) {
        *error = path + ": cannot open: " + std::strerror(errno);
        return false;
    }
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#') continue;
        size_t equals = line.find('=');
        std::string reason;
        if (equals == std::string::npos) {
            reason = "expected key=value";
        } else if (line.find_first_not_of(" \t", first) == equals) {
            reason = "empty key";
        } else if (namespacedKeys) {
            size_t slash = line.find('/', first);
            if (slash == std::string::npos || slash > equals || slash == first ||
                slash + 1 == equals) {
                reason = "expected namespace/key=value";
            }
        }
        if (!reason.empty()) {
            *error = path;
            *error += ":" + std::to_string(number) + ": " + reason;
            return false;
        }
    }
    return true;
}

bool makeDirectories(const std::string& path, std::string* error) {
    for (size_t slash = path.find('/', 1);; slash = path.find('/', slash + 1)) {
        std::string prefix = path.substr(0, slash);
        if (!prefix.empty() && mkdir(prefix.c_str(), 0700) != 0 && errno != EEXIST) {
            *error = prefix + ": cannot create state directory: " + std::strerror(errno);
            return false;
        }
        if (slash == std::string::npos) break;
    }
    struct stat info {};
    if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
        *error = path + ": not a directory";
        return false;
    }
    return true;
}

// Stands in for the platform's preferences system service: the settings manager only checks
// that the name is registered before it reads the settings module.
class PreferencesServicePlaceholder : public android::BBinder {};

}  // namespace

ExitCode prepareHostEnvironment(const DumpOptions& options, std::string* error) {
    if (!makeDirectories(options.stateDir, error)) return kExitRuntimeError;
    setenv("KEYVALUE_STORE_DIR", options.stateDir.c_str(), 1);

    auto properties = hostproperties::loadPropertyFile(options.propertiesFile);
    if (!properties.opened || !properties.errors.empty()) {
        *error = properties.errors.empty() ? options.propertiesFile + ": cannot open"
                                           : properties.errors.front();
        return kExitBadInput;
    }

    if (!validateKeyValueFile(options.settingsFile, false, error)) return kExitBadInput;
    setenv("BASALT_SETTINGS_FILE", options.settingsFile.c_str(), 1);
    // Loaded by path here; the library's later load by name then finds it by its soname.
    const char* modulePath = std::getenv("TELEMETRY_SETTINGS_MODULE");
    if (modulePath == nullptr || *modulePath == '\0') modulePath = TELEMETRY_DUMP_MODULE_PATH;
    if (dlopen(modulePath, RTLD_NOW) == nullptr) {
        *error = std::string("cannot load the host settings module: ") + dlerror();
        return kExitRuntimeError;
    }

    if (!validateKeyValueFile(options.deviceConfigFile, true, error)) return kExitBadInput;
    using com::halcyon::deviceconfig::host::HostDeviceConfigService;
    android::sp<HostDeviceConfigService> deviceConfig = new HostDeviceConfigService();
    if (!deviceConfig->loadFromFile(options.deviceConfigFile)) {
        *error = options.deviceConfigFile + ": cannot open";
        return kExitBadInput;
    }
    if (com::halcyon::deviceconfig::host::publishHostDeviceConfigService(deviceConfig) !=
        android::OK) {
        *error = "cannot register the host device-config service";
        return kExitRuntimeError;
    }
    if (android::defaultServiceManager()->addService(android::String16("PreferencesService"),
                                                     new PreferencesServicePlaceholder()) !=
        android::OK) {
        *error = "cannot register PreferencesService";
        return kExitRuntimeError;
    }
    return kExitOk;
}

}  // namespace telemetrydump
