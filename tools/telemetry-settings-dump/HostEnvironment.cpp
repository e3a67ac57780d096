#include "HostEnvironment.h"

#include "InputFile.h"
#include "ToolFiles.h"

#include <binder/Binder.h>
#include <binder/IServiceManager.h>
#include <binder_host/HostBinder.h>
#include <deviceconfig/DeviceConfig.h>
#include <deviceconfig_host/HostDeviceConfigService.h>
#include <hostproperties/PropertyStore.h>
#include <settingsmodule_host/HostSettingsControl.h>
#include <telemetry/settingsmanager/SettingsKeys.h>
#include <utils/String16.h>

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace telemetrydump {
namespace {

using com::halcyon::deviceconfig::host::HostDeviceConfigService;

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

// The settings service keeps integers in 32 bits; a longer number would silently read as the
// default. Text that is no number at all is left to the library, which answers the default.
const char* checkSettingValue(const InputEntry& entry) {
    using namespace Tamar::OS::Telemetry;
    if (entry.key != kKeyManagedDevice && entry.key != kKeyCurrentUser) return nullptr;
    const std::string& text = entry.value;
    const size_t start = !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
    if (text.size() == start || text.find_first_not_of("0123456789", start) != std::string::npos) {
        return nullptr;
    }
    int32_t value = 0;
    const char* begin = text.data() + (text[0] == '+' ? 1 : 0);
    const auto parsed = std::from_chars(begin, text.data() + text.size(), value);
    return parsed.ec == std::errc() ? nullptr : "number does not fit in 32 bits";
}

ExitCode readAll(const std::string& path, InputFormat format, std::vector<InputEntry>* entries,
                 std::string* error) {
    if (path.empty()) {
        *error = "cannot find the example files installed with the tool; name every input "
                 "file with --settings, --properties and --device-config";
        return kExitRuntimeError;
    }
    return readInputFile(path, format, entries, error) ? kExitOk : kExitBadInput;
}

// Loaded by path here; the library's later load by name then finds it by its soname.
bool loadSettingsModule(const ToolFiles& files, std::string* error) {
    const char* modulePath = std::getenv("TELEMETRY_SETTINGS_MODULE");
    if (modulePath == nullptr || *modulePath == '\0') modulePath = files.settingsModule.c_str();
    if (*modulePath == '\0' || dlopen(modulePath, RTLD_NOW) == nullptr) {
        *error = std::string("cannot load the host settings module: ") +
                 (*modulePath == '\0' ? "not found next to the tool" : dlerror());
        return false;
    }
    return true;
}

// A client of the host device in `dir`, like any other process of it: nothing is seeded, the
// key-value store is the device's.
ExitCode joinHostDevice(const DumpOptions& options, const std::string& dir,
                        DeviceConfigLookup* lookup, std::string* error) {
    if (!options.privateDeviceFlag.empty()) {
        *error = options.privateDeviceFlag + " sets up a private device; with " +
                 "HALCYON_HOST_DEVICE set the tool reads the host device in " + dir +
                 " (unset HALCYON_HOST_DEVICE to use the flag)";
        return kExitUsage;
    }
    if (!loadSettingsModule(findToolFiles(), error)) return kExitRuntimeError;
    const android::sp<android::IServiceManager> services = android::defaultServiceManager();
    for (const char* name : {Tamar::OS::Telemetry::kPreferencesServiceName,
                             com::halcyon::deviceconfig::host::kDeviceConfigServiceName}) {
        if (services == nullptr || services->checkService(android::String16(name)) == nullptr) {
            *error = "no host device answers in ";
            error->append(dir).append(" (").append(name);
            error->append(" is not running; start the device with 'halcyon-hostdevice start ");
            error->append(dir).append("')");
            return kExitRuntimeError;
        }
    }
    auto deviceConfig = std::make_shared<com::halcyon::deviceconfig::DeviceConfig>();
    *lookup = [deviceConfig](const std::string& ns,
                             const std::string& key) -> std::optional<std::string> {
        const auto properties = deviceConfig->getProperties(ns, {key});
        const auto keys = properties.getKeys();
        if (keys.empty()) return std::nullopt;
        return properties.getString(key, "");
    };
    return kExitOk;
}

// Stands in for the platform's preferences system service: the settings manager only checks
// that the name is registered before it reads the settings module.
class PreferencesServicePlaceholder : public android::BBinder {};

}  // namespace

ExitCode prepareHostEnvironment(const DumpOptions& given, DeviceConfigLookup* lookup,
                                std::string* error) {
    if (const char* dir = std::getenv(android::hostbinder::kHostDeviceEnv);
        dir != nullptr && *dir != '\0') {
        return joinHostDevice(given, dir, lookup, error);
    }
    const ToolFiles files = findToolFiles();
    DumpOptions options = given;
    auto fallback = [&](std::string* path, const char* name) {
        if (path->empty() && !files.defaultsDir.empty()) *path = files.defaultsDir + "/" + name;
    };
    fallback(&options.settingsFile, "settings.conf");
    fallback(&options.propertiesFile, "properties.conf");
    fallback(&options.deviceConfigFile, "deviceconfig.conf");

    std::vector<InputEntry> properties;
    std::vector<InputEntry> settings;
    std::vector<InputEntry> remote;
    for (auto [path, format, into] :
         {std::tuple{&options.propertiesFile, InputFormat::kProperties, &properties},
          std::tuple{&options.settingsFile, InputFormat::kSettings, &settings},
          std::tuple{&options.deviceConfigFile, InputFormat::kDeviceConfig, &remote}}) {
        if (ExitCode code = readAll(*path, format, into, error); code != kExitOk) return code;
    }
    for (const InputEntry& entry : settings) {
        if (const char* reason = checkSettingValue(entry)) {
            *error = options.settingsFile + ":" + std::to_string(entry.line) + ": " + reason;
            return kExitBadInput;
        }
    }

    if (!makeDirectories(options.stateDir, error)) return kExitRuntimeError;
    setenv("KEYVALUE_STORE_DIR", options.stateDir.c_str(), 1);

    for (const InputEntry& entry : properties) {
        if (!hostproperties::setProperty(entry.key, entry.value)) {
            *error = options.propertiesFile + ":" + std::to_string(entry.line) +
                     ": cannot set property";
            return kExitBadInput;
        }
    }

    // The module would otherwise seed itself from a file named in the environment.
    unsetenv("BASALT_SETTINGS_FILE");
    if (!loadSettingsModule(files, error)) return kExitRuntimeError;
    const auto control = settingsmodule_host::HostSettingsControl::find();
    if (!control) {
        *error = "the host settings module has no control functions";
        return kExitRuntimeError;
    }
    for (const InputEntry& entry : settings) control->set(entry.key.c_str(), entry.value.c_str());
    // Nobody listens yet; draining now keeps these changes away from the manager's listeners.
    if (!control->waitForNotifications()) {
        *error = "the host settings module did not settle";
        return kExitRuntimeError;
    }

    android::sp<HostDeviceConfigService> deviceConfig = new HostDeviceConfigService();
    for (const InputEntry& entry : remote) {
        const size_t slash = entry.key.find('/');
        deviceConfig->setProperty(entry.key.substr(0, slash), entry.key.substr(slash + 1),
                                  entry.value);
    }
    if (com::halcyon::deviceconfig::host::publishHostDeviceConfigService(deviceConfig) !=
        android::OK) {
        *error = "cannot register the host device-config service";
        return kExitRuntimeError;
    }
    *lookup = [deviceConfig](const std::string& ns, const std::string& key) {
        return deviceConfig->getProperty(ns, key);
    };
    if (android::defaultServiceManager()->addService(android::String16("PreferencesService"),
                                                     new PreferencesServicePlaceholder()) !=
        android::OK) {
        *error = "cannot register PreferencesService";
        return kExitRuntimeError;
    }
    return kExitOk;
}

}  // namespace telemetrydump
